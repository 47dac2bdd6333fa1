#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <utility>

#ifdef __linux__
    #include <sys/mman.h>
#endif

namespace tessivar
{

/** Owns floats on a 64-byte boundary, zeroed when made; holds everything that kernels work on. */
class AlignedBuffer
{
public:
    static constexpr std::size_t alignment = 64;

    static constexpr std::size_t largePage = std::size_t{ 2 } << 20;

    AlignedBuffer() = default;

    /** Throws std::bad_alloc when memory runs out. Allocations are rounded up to whole cache lines; large
        ones ask the system for large pages. */
    explicit AlignedBuffer (std::size_t numFloats) : numUsed (numFloats)
    {
        const auto isLarge = numFloats >= largePage;
        const auto unit = isLarge ? largePage : alignment;
        const auto bytes = (numFloats * sizeof (float) + unit - 1) / unit * unit;

        if (bytes == 0)
            return;

        floats = static_cast<float*> (std::aligned_alloc (unit, bytes));

        if (floats == nullptr)
            throw std::bad_alloc();

#ifdef MADV_HUGEPAGE
        if (isLarge)
            madvise (floats, bytes, MADV_HUGEPAGE);
#endif

        std::memset (floats, 0, bytes);
    }

    ~AlignedBuffer()
    {
        std::free (floats);
    }

    AlignedBuffer (AlignedBuffer&& other) noexcept
    {
        swap (other);
    }

    AlignedBuffer& operator= (AlignedBuffer&& other) noexcept
    {
        AlignedBuffer taken (std::move (other));
        swap (taken);
        return *this;
    }

    AlignedBuffer (const AlignedBuffer&) = delete;
    AlignedBuffer& operator= (const AlignedBuffer&) = delete;

    [[nodiscard]] float* data()
    {
        return floats;
    }
    [[nodiscard]] const float* data() const
    {
        return floats;
    }
    [[nodiscard]] std::size_t size() const
    {
        return numUsed;
    }
    [[nodiscard]] std::span<float> span()
    {
        return { floats, numUsed };
    }
    [[nodiscard]] std::span<const float> span() const
    {
        return { floats, numUsed };
    }
    [[nodiscard]] float& operator[] (std::size_t i)
    {
        return floats[i];
    }
    [[nodiscard]] float operator[] (std::size_t i) const
    {
        return floats[i];
    }

    void clear()
    {
        std::memset (floats, 0, numUsed * sizeof (float));
    }

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
