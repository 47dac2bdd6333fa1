#include "model/groupfile/RandomAccessBytes.h"

#include <algorithm>

namespace tessivar
{

StreamBytes::StreamBytes (juce::InputStream& streamToRead)
    : stream (streamToRead),
      size (static_cast<std::uint64_t> (std::max<juce::int64> (0, streamToRead.getTotalLength())))
{
}

bool StreamBytes::read (std::uint64_t offset, std::span<std::uint8_t> dest)
{
    if (offset > size || dest.size() > size - offset)
        return false;

    if (! stream.setPosition (static_cast<juce::int64> (offset)))
        return false;

    constexpr std::size_t largestRead = 1 << 30; // a stream counts in int

    while (! dest.empty())
    {
        const auto wanted = static_cast<int> (std::min (dest.size(), largestRead));
        const auto count = stream.read (dest.data(), wanted);

        if (count <= 0)
            return false;

        dest = dest.subspan (static_cast<std::size_t> (count));
    }

    return true;
}

} // namespace tessivar
