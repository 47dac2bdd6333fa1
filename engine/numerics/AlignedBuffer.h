#pragma once

#include "platform/Memory.h"

#include <cstddef>
#include <cstring>
#include <new>
#include <span>
#include <utility>

namespace tessivar
{

/** Owns floats on a 64-byte boundary, zeroed when made; holds everything that kernels work on. */
class AlignedBuffer
{
public:
    static constexpr std::size_t alignment = 64;

    AlignedBuffer() = default;

    /** Throws std::bad_alloc when memory runs out. Allocations are rounded up to whole cache lines; large
        ones come from the system as pages that are zero and made when touched: filling gigabytes here would
        take a second. Large pages pay where all of it is read again and again. */
    explicit AlignedBuffer (std::size_t numFloats, LargeMemory::Pages kind = LargeMemory::Pages::ordinary)
        : numUsed (numFloats)
    {
        if (numFloats == 0)
            return;

        if (numFloats >= LargeMemory::largePage)
        {
            LargeMemory (numFloats * sizeof (float), kind).swap (pages);
            floats = static_cast<float*> (pages.data());
            return;
        }

        const auto bytes = (numFloats * sizeof (float) + alignment - 1) / alignment * alignment;
        floats = static_cast<float*> (::operator new (bytes, std::align_val_t{ alignment }));
        std::memset (floats, 0, bytes);
    }

    ~AlignedBuffer()
    {
        if (pages.data() == nullptr)
            ::operator delete (floats, std::align_val_t{ alignment });
    }

    AlignedBuffer (AlignedBuffer&& other) noexcept { swap (other); }

    AlignedBuffer& operator= (AlignedBuffer&& other) noexcept
    {
        AlignedBuffer taken (std::move (other));
        swap (taken);
        return *this;
    }

    AlignedBuffer (const AlignedBuffer&) = delete;
    AlignedBuffer& operator= (const AlignedBuffer&) = delete;

    [[nodiscard]] float* data() { return floats; }
    [[nodiscard]] const float* data() const { return floats; }
    [[nodiscard]] std::size_t size() const { return numUsed; }
    [[nodiscard]] std::span<float> span() { return { floats, numUsed }; }
    [[nodiscard]] std::span<const float> span() const { return { floats, numUsed }; }
    [[nodiscard]] float& operator[] (std::size_t i) { return floats[i]; }
    [[nodiscard]] float operator[] (std::size_t i) const { return floats[i]; }

    void clear() { std::memset (floats, 0, numUsed * sizeof (float)); }

private:
    void swap (AlignedBuffer& other) noexcept
    {
        std::swap (floats, other.floats);
        std::swap (numUsed, other.numUsed);
        pages.swap (other.pages);
    }

    float* floats = nullptr;
    std::size_t numUsed = 0;
    LargeMemory pages; // of a large one
};

} // namespace tessivar
