#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <utility>

namespace tessivar
{

/** Owns floats on a 64-byte boundary, zero-filled when made; the home of everything that kernels work on. */
class AlignedBuffer
{
public:
    static constexpr std::size_t alignment = 64;

    AlignedBuffer() = default;

    /** Throws std::bad_alloc when memory runs out. The allocation is rounded up to whole cache lines. */
    explicit AlignedBuffer (std::size_t numFloats) : numUsed (numFloats)
    {
        const auto bytes = (numFloats * sizeof (float) + alignment - 1) / alignment * alignment;

        if (bytes == 0)
            return;

        floats = static_cast<float*> (std::aligned_alloc (alignment, bytes));

        if (floats == nullptr)
            throw std::bad_alloc();

        std::memset (floats, 0, bytes);
    }

    ~AlignedBuffer() { std::free (floats); }

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
    }

    float* floats = nullptr;
    std::size_t numUsed = 0;
};

} // namespace tessivar
