#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace tessivar
{

/** Where the sums of a track's audio stand in a group file. length 0: it has none. */
struct SumsPlace
{
    std::uint64_t offset = 0; // bytes
    std::uint64_t length = 0; // bytes; 4 for each block of audio
    std::uint32_t crc = 0;    // of the sums themselves

    bool operator== (const SumsPlace&) const = default;
};

/** CRC-32 of every block of a track's audio, the last block shorter. */
class AudioSums
{
public:
    static constexpr std::uint64_t blockSize = 1 << 20; // bytes

    /** Bytes that the sums of so much audio take in a file. */
    [[nodiscard]] static std::uint64_t lengthFor (std::uint64_t audioSize)
    {
        return (audioSize + blockSize - 1) / blockSize * sizeof (std::uint32_t);
    }

    /** The next bytes of the audio. */
    void add (std::span<const std::uint8_t> bytes);

    /** The sums as they stand in the file, after the last bytes were added. */
    [[nodiscard]] std::vector<std::uint8_t> encoded() const;

private:
    std::vector<std::uint32_t> whole;
    std::uint32_t current = 0;
    std::uint64_t bytesInCurrent = 0;
};

/** The CRC-32 of some bytes, as zlib computes it, or of them behind others whose CRC-32 is known. */
[[nodiscard]] std::uint32_t crc32Of (std::span<const std::uint8_t> bytes, std::uint32_t before = 0);

} // namespace tessivar
