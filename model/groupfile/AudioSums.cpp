#include "model/groupfile/AudioSums.h"

#include "model/LittleEndian.h"

#include <algorithm>

#include <zlib.h>

namespace tessivar
{

void AudioSums::add (std::span<const std::uint8_t> bytes)
{
    while (! bytes.empty())
    {
        const auto part = bytes.first (std::min<std::uint64_t> (bytes.size(), blockSize - bytesInCurrent));
        current = crc32Of (part, current);
        bytesInCurrent += part.size();
        bytes = bytes.subspan (part.size());

        if (bytesInCurrent == blockSize)
        {
            whole.push_back (current);
            current = 0;
            bytesInCurrent = 0;
        }
    }
}

std::vector<std::uint8_t> AudioSums::encoded() const
{
    auto sums = whole;

    if (bytesInCurrent > 0)
        sums.push_back (current);

    std::vector<std::uint8_t> bytes (sums.size() * sizeof (std::uint32_t));

    for (std::size_t i = 0; i < sums.size(); ++i)
        littleEndian::writeU32 (&bytes[i * sizeof (std::uint32_t)], sums[i]);

    return bytes;
}

std::uint32_t crc32Of (std::span<const std::uint8_t> bytes, std::uint32_t before)
{
    return static_cast<std::uint32_t> (::crc32_z (before, bytes.data(), bytes.size()));
}

} // namespace tessivar
