#include "model/groupfile/TessivarFormatReader.h"

#include "model/LittleEndian.h"
#include "model/TrackSamples.h"
#include "model/groupfile/GroupFileLoading.h"
#include "terms/ChannelLayout.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr int largestPiece = 384000, largestRenderedPiece = 7 * 96000 * 4; // bytes
} // namespace

TessivarFormatReader::TessivarFormatReader (juce::InputStream* sourceStream)
    : AudioFormatReader (sourceStream, "DLS")
{
    usesFloatingPointData = true;
    bitsPerSample = 32;
    problem = readTables();

    if (isValid())
        selectTrack (0);
}

bool TessivarFormatReader::isMarked (juce::InputStream& stream)
{
    StreamBytes bytes (stream);
    GroupFileTrailer::Bytes trailer{};
    return bytes.sizeInBytes() >= trailer.size() && bytes.read (bytes.sizeInBytes() - trailer.size(), trailer)
           && GroupFileTrailer::decode (trailer).isMarked();
}

juce::String TessivarFormatReader::readTables()
{
    StreamBytes bytes (*input);

    if (const auto result = GroupTables::readRecords (bytes, bytes.sizeInBytes(), tables); result.failed())
        return reasonAgainstGroupFile (bytes, result.getErrorMessage());

    for (const auto& entry : tables.tracks)
        if (TrackRecord::isWithoutSettingB (entry.recordBytes))
            juce::Logger::writeToLog ("v1.0 dls\n");

    tables.readTexts (bytes);

    for (std::size_t i = 0; i < tables.tracks.size(); ++i)
        for (const auto& text : { tables.tracks[i].audioProblem,
                                  tables.tracks[i].nameProblem,
                                  tables.tracks[i].metadataProblem })
            if (text.isNotEmpty())
                return "track " + juce::String (i + 1) + ": " + text;

    juce::StringArray notes;
    FoundTail found;
    sampleRate = decodeGroupTail (bytes, bytes.sizeInBytes(), found).wasOk()
                     ? groupStateFrom (found, {}, notes).sampleRate()
                     : 44100.0;
    return {};
}

bool TessivarFormatReader::selectTrack (int index)
{
    if (! isValid() || index < 0 || index >= numTracks())
        return false;

    const auto& entry = track (index);
    selected = index;
    audio = *audioRangeOf (entry.record);
    numChannels = static_cast<unsigned int> (audio.channels);
    lengthInSamples = entry.record.lengthInSamples();
    metadataValues = entry.metadata;
    return true;
}

bool TessivarFormatReader::readSamples (int* const* destChannels,
                                        int numDestChannels,
                                        int startOffsetInDestBuffer,
                                        juce::int64 startSampleInFile,
                                        int numSamples)
{
    if (selected < 0)
        return false;

    // Before the first frame and behind the last there is silence.
    const auto clear = [&] (int start, std::int64_t count)
    {
        for (int i = 0; i < numDestChannels && count > 0; ++i)
            if (destChannels[i] != nullptr)
                std::fill_n (destChannels[i] + start, count, 0);
    };

    const auto before = -std::clamp<std::int64_t> (startSampleInFile, -numSamples, 0);
    clear (startOffsetInDestBuffer, before);
    startOffsetInDestBuffer += static_cast<int> (before);
    startSampleInFile += before;
    numSamples -= static_cast<int> (before);

    const auto present = std::clamp<std::int64_t> (
        lengthInSamples - std::max<std::int64_t> (0, startSampleInFile), 0, numSamples);
    clear (startOffsetInDestBuffer + static_cast<int> (present), numSamples - present);
    numSamples = static_cast<int> (present);

    const auto bytesPerFrame = static_cast<int> (sizeof (float)) * audio.channels;
    const auto framesAtOnce = (audio.channels == 1 ? largestPiece : largestRenderedPiece) / bytesPerFrame;

    while (numSamples > 0)
    {
        const auto count = std::min (numSamples, framesAtOnce);

        if (! readPiece (destChannels, numDestChannels, startOffsetInDestBuffer, startSampleInFile, count))
            return false;

        startOffsetInDestBuffer += count;
        startSampleInFile += count;
        numSamples -= count;
    }

    return true;
}

bool TessivarFormatReader::readPiece (
    int* const* dest, int numDest, int destStart, std::int64_t frame, int count)
{
    const auto channels = static_cast<std::size_t> (audio.channels);
    const auto bytesPerFrame = sizeof (float) * channels;
    piece.resize (static_cast<std::size_t> (count) * bytesPerFrame);
    StreamBytes bytes (*input);
    const auto wasRead =
        bytes.read (audio.offset + static_cast<std::uint64_t> (frame) * bytesPerFrame, piece);

    if (! wasRead)
        std::fill (piece.begin(), piece.end(), std::uint8_t{});

    // A single channel asked for in several stands where the source stands among seven: deliberately.
    const auto isSpread = audio.channels == 1 && numDest > 1;

    for (int i = 0; i < numDest; ++i)
    {
        if (dest[i] == nullptr)
            continue;

        auto* const samples = reinterpret_cast<float*> (dest[i]) + destStart;
        const auto from = isSpread ? (i == channelLayout::source ? 0 : -1) : (i < audio.channels ? i : -1);

        if (from < 0)
            std::fill_n (samples, count, 0.0f);
        else
            for (std::size_t n = 0; n < static_cast<std::size_t> (count); ++n)
                samples[n] =
                    littleEndian::readF32 (&piece[(n * channels + static_cast<std::size_t> (from)) * 4]);
    }

    return wasRead;
}

} // namespace tessivar
