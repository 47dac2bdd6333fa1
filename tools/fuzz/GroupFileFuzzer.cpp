#include "model/LittleEndian.h"
#include "model/groupfile/GroupTail.h"
#include "model/groupfile/TessivarFormatReader.h"

#include <array>
#include <cstdlib>
#include <memory>

namespace tessivar
{

namespace
{
/** A Group that was read is written and read again without a change. Its audio is left out. */
void checkReadingBack (const FoundTail& found)
{
    juce::StringArray notes;
    const auto encoded = [&] (const FoundTail& tail)
    {
        auto written = groupTailFor (groupStateFrom (tail, "x", notes));

        for (auto& track : written.tracks)
        {
            track.record.setSampleDataOffset (0);
            track.record.setLengthInSamples (0);
        }

        return encodeGroupTail (written, 0);
    };

    const auto bytes = encoded (found);
    MemoryBytes memory (bytes);
    FoundTail again;

    if (findGroupTail (memory, again).failed() || ! again.isIntact() || ! again.isOurs
        || encoded (again) != bytes)
        std::abort();
}

/** Samples from around the edges and from the middle of every track. */
void readSamples (TessivarFormatReader& reader)
{
    std::array<std::array<int, 32>, 7> buffers{};
    std::array<int*, 7> channels{};

    for (std::size_t i = 0; i < channels.size(); ++i)
        channels[i] = buffers[i].data();

    for (int i = 0; i < reader.numTracks(); ++i)
    {
        if (! reader.selectTrack (i))
            std::abort();

        for (const auto start : { juce::int64{ -5 }, reader.lengthInSamples / 2, reader.lengthInSamples - 3 })
            for (const auto numChannels : { 1, 7 })
                // Of a valid reader, every sample is there.
                if (! reader.readSamples (channels.data(), numChannels, 0, start, 32))
                    std::abort();
    }
}

void checkFile (const std::uint8_t* data, std::size_t size)
{
    MemoryBytes bytes ({ data, size });
    FoundTail found;

    if (findGroupTail (bytes, found).wasOk())
        checkReadingBack (found);

    TessivarFormatReader reader (new juce::MemoryInputStream (data, size, false));

    if (reader.isValid())
        readSamples (reader);
}
} // namespace

} // namespace tessivar

/** Reads any bytes as a group file: as they are, and once more with the records' checksum repaired. */
extern "C" int LLVMFuzzerTestOneInput (const std::uint8_t* data, std::size_t size)
{
    using namespace tessivar;
    checkFile (data, size);

    if (size < GroupFileTrailer::encodedSize)
        return 0;

    std::vector<std::uint8_t> repaired (data, data + size);
    const auto trailer = size - GroupFileTrailer::encodedSize;
    const auto tableSize =
        std::uint64_t{ littleEndian::readU32 (&repaired[trailer]) } * TrackRecord::encodedSize;

    if (tableSize > trailer)
        return 0;

    const auto table = std::span<const std::uint8_t> (repaired).subspan (trailer - tableSize, tableSize);
    littleEndian::writeU64 (&repaired[trailer + 4], recordChecksum (table));
    checkFile (repaired.data(), repaired.size());
    return 0;
}
