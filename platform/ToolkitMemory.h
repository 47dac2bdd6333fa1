#pragma once

#include <new>

/** Read by the toolkit before its own headers. Its pictures, paths and arrays take memory without looking
    whether there was any, and would write to nowhere when it ran out; their one check is told to throw
    std::bad_alloc, which the program tells as it tells any other failure.
*/
namespace juce::HeapBlockHelper
{
template <bool shouldThrow>
struct ThrowOnFail;

template <>
struct ThrowOnFail<false>
{
    static void checkPointer (void* data)
    {
        if (data == nullptr)
            throw std::bad_alloc();
    }
};
} // namespace juce::HeapBlockHelper
