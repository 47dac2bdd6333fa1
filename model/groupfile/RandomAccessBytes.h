#pragma once

#include <juce_core/juce_core.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace tessivar
{

/** The bytes of a file, or of a piece of memory that stands for one, read at any place. */
class RandomAccessBytes
{
public:
    virtual ~RandomAccessBytes() = default;

    [[nodiscard]] virtual std::uint64_t sizeInBytes() const = 0;

    /** Fills dest with the bytes from offset on. False when any of them lies outside or can't be read; dest
        may be partly filled then.
    */
    [[nodiscard]] virtual bool read (std::uint64_t offset, std::span<std::uint8_t> dest) = 0;

    /** Whether a range whose ends come from a file lies inside. */
    [[nodiscard]] bool contains (std::int64_t offset, std::int64_t length) const
    {
        return offset >= 0 && length >= 0 && static_cast<std::uint64_t> (offset) <= sizeInBytes()
               && static_cast<std::uint64_t> (length) <= sizeInBytes() - static_cast<std::uint64_t> (offset);
    }
};

/** Bytes in memory that somebody else owns. */
class MemoryBytes final : public RandomAccessBytes
{
public:
    explicit MemoryBytes (std::span<const std::uint8_t> bytesToRead) : bytes (bytesToRead) {}

    [[nodiscard]] std::uint64_t sizeInBytes() const override { return bytes.size(); }

    [[nodiscard]] bool read (std::uint64_t offset, std::span<std::uint8_t> dest) override
    {
        if (offset > bytes.size() || dest.size() > bytes.size() - offset)
            return false;

        if (! dest.empty())
            std::memcpy (dest.data(), bytes.data() + offset, dest.size());

        return true;
    }

private:
    const std::span<const std::uint8_t> bytes;
};

/** The bytes of a stream that can be positioned and knows its length; the stream outlives this. */
class StreamBytes final : public RandomAccessBytes
{
public:
    explicit StreamBytes (juce::InputStream& streamToRead)
        : stream (streamToRead),
          size (static_cast<std::uint64_t> (std::max<juce::int64> (0, streamToRead.getTotalLength())))
    {
    }

    [[nodiscard]] std::uint64_t sizeInBytes() const override { return size; }

    [[nodiscard]] bool read (std::uint64_t offset, std::span<std::uint8_t> dest) override
    {
        if (offset > size || dest.size() > size - offset
            || ! stream.setPosition (static_cast<juce::int64> (offset)))
            return false;

        constexpr std::size_t largestRead = 1 << 30; // a stream counts in int

        while (! dest.empty())
        {
            const auto count =
                stream.read (dest.data(), static_cast<int> (std::min (dest.size(), largestRead)));

            if (count <= 0)
                return false;

            dest = dest.subspan (static_cast<std::size_t> (count));
        }

        return true;
    }

private:
    juce::InputStream& stream;
    const std::uint64_t size;
};

} // namespace tessivar
