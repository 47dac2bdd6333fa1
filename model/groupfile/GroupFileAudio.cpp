#include "model/groupfile/GroupFileAudio.h"

#include "model/groupfile/GroupFileLoading.h"
#include "model/groupfile/PropertyList.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::uint64_t alignment = 64;
constexpr auto streamFailed = "a stream failed"; // which tells why

std::uint64_t aligned (std::uint64_t place)
{
    return (place + alignment - 1) / alignment * alignment;
}

bool writeZeros (juce::OutputStream& stream, std::uint64_t count)
{
    return count == 0 || stream.writeRepeatedByte (0, static_cast<std::size_t> (count));
}
} // namespace

SavePlan::SavePlan (const GroupState& stateToSave, const GroupFile* current) : state (stateToSave)
{
    if (state.tracks.size() > groupFileFormat::maxTracks)
        problemFound = "a group file holds at most " + juce::String (groupFileFormat::maxTracks)
                       + " tracks, not " + juce::String (state.tracks.size());

    for (const auto& track : state.tracks)
        audioOfTrack.push_back (audioFor (track, current));

    start = current != nullptr ? current->sizeInBytes() : headSize;
    placeAudio (start);

    if (problemFound.isEmpty() && encodedTail().size() > largestTailBytes)
        problemFound = "the metadata of its tracks are too large for a group file";
}

/** The index of the audio that a track's samples make; a track whose audio is lost has an empty one. */
std::size_t SavePlan::audioFor (const TrackState& track, const GroupFile* current)
{
    Audio audio;
    audio.samples = track.rendered != nullptr ? track.rendered : track.source;
    audio.range.channels = audio.samples != nullptr ? audio.samples->numChannels() : 1;
    const auto isProcessed = track.rendered != nullptr;

    if (audio.range.channels != (isProcessed ? channelLayout::numRendered : channelLayout::numUnrendered))
    {
        jassertfalse;
        problemFound =
            "track " + track.name + " has samples of " + juce::String (audio.range.channels) + " channels";
    }

    const auto frames =
        audio.samples != nullptr
            ? std::clamp<std::int64_t> (track.lengthInSamples(), 0, audio.samples->lengthInFrames())
            : 0;
    const auto bytesPerFrame = sizeof (float) * static_cast<std::uint64_t> (audio.range.channels);
    audio.range.size = static_cast<std::uint64_t> (frames) * bytesPerFrame;

    const auto* inFile = dynamic_cast<const GroupFileSamples*> (audio.samples.get());

    if (inFile != nullptr && inFile->file() == current && current != nullptr
        && inFile->range().size == audio.range.size)
    {
        audio.isInFile = true;
        audio.range = inFile->range();
        audio.sums = inFile->sums();
    }

    const auto isSame = [&] (const Audio& other)
    {
        const auto* otherInFile = dynamic_cast<const GroupFileSamples*> (other.samples.get());
        const auto sharesPlace = inFile != nullptr && otherInFile != nullptr
                                 && inFile->file() == otherInFile->file()
                                 && inFile->range() == otherInFile->range();
        return (other.samples == audio.samples || sharesPlace) && other.range.size == audio.range.size;
    };

    if (const auto found = std::ranges::find_if (audios, isSame); found != audios.end())
        return static_cast<std::size_t> (found - audios.begin());

    audios.push_back (std::move (audio));
    return audios.size() - 1;
}

void SavePlan::placeAudio (std::uint64_t firstFree)
{
    auto place = firstFree;

    for (auto& audio : audios)
    {
        if (audio.isInFile || audio.range.size == 0)
            continue;

        audio.range.offset = aligned (place);
        place = audio.range.offset + audio.range.size;
    }

    for (auto& audio : audios)
    {
        if (audio.isInFile || audio.range.size == 0)
            continue;

        audio.sums = { place, AudioSums::lengthFor (audio.range.size), 0 };
        place += audio.sums.length;
    }

    endOfSums = place;
}

std::uint64_t SavePlan::bytesInUse() const
{
    std::uint64_t sum = encodedTail().size();

    for (const auto& range : rangesInUse())
        sum += range.size;

    return sum;
}

std::vector<AudioRange> SavePlan::rangesInUse() const
{
    std::vector<AudioRange> ranges;

    for (const auto& audio : audios)
    {
        ranges.push_back (audio.range);
        ranges.push_back ({ audio.sums.offset, audio.sums.length });
    }

    return ranges;
}

Outcome SavePlan::write (juce::OutputStream& stream,
                         const WorkControl& control,
                         const std::function<void (std::uint64_t)>& progress)
{
    auto place = start;

    for (auto& audio : audios)
    {
        if (audio.isInFile || audio.range.size == 0)
            continue;

        if (! writeZeros (stream, audio.range.offset - place))
            return Outcome::failed (streamFailed);

        if (auto written = writeAudio (audio, stream, control, progress); ! written.isOk())
            return written;

        place = audio.range.offset + audio.range.size;
    }

    for (const auto& audio : audios)
        if (! audio.encodedSums.empty()
            && ! stream.write (audio.encodedSums.data(), audio.encodedSums.size()))
            return Outcome::failed (streamFailed);

    return Outcome::ok();
}

Outcome SavePlan::writeAudio (Audio& audio,
                              juce::OutputStream& stream,
                              const WorkControl& control,
                              const std::function<void (std::uint64_t)>& progress)
{
    static_assert (std::endian::native == std::endian::little, "samples are written as they lie in memory");
    constexpr std::size_t floatsAtOnce = 1 << 18;
    const auto channels = static_cast<std::size_t> (audio.range.channels);
    const auto framesAtOnce = static_cast<std::int64_t> (floatsAtOnce / channels);
    const auto numFrames = framesOf (audio.range);
    std::vector<float> frames (static_cast<std::size_t> (std::min (framesAtOnce, numFrames)) * channels);
    AudioSums sums;

    for (std::int64_t place = 0; place < numFrames; place += framesAtOnce)
    {
        if (control.stopRequested())
            return Outcome::stopped();

        const auto count = static_cast<std::size_t> (std::min (framesAtOnce, numFrames - place)) * channels;
        const std::span<float> piece (frames.data(), count);

        if (! audio.samples->readFrames (place, piece))
            return Outcome::failed (audio.samples->lastError().toStdString());

        const std::span<const std::uint8_t> bytes (reinterpret_cast<const std::uint8_t*> (piece.data()),
                                                   piece.size_bytes());
        sums.add (bytes);

        if (! stream.write (bytes.data(), bytes.size()))
            return Outcome::failed (streamFailed);

        progress (bytes.size());
    }

    audio.encodedSums = sums.encoded();
    audio.sums.crc = crc32Of (audio.encodedSums);
    compareWithOldSums (audio);
    return Outcome::ok();
}

/** New sums fit the audio as it is, whatever happened to it: damage has to be told when it is copied. */
void SavePlan::compareWithOldSums (const Audio& audio)
{
    const auto* inFile = dynamic_cast<const GroupFileSamples*> (audio.samples.get());

    if (inFile == nullptr || inFile->sums().length != audio.encodedSums.size())
        return;

    std::vector<std::uint8_t> old (audio.encodedSums.size());

    if (! inFile->file()->read (inFile->sums().offset, old) || crc32Of (old) != inFile->sums().crc
        || old == audio.encodedSums)
        return;

    for (std::size_t i = 0; i < state.tracks.size(); ++i)
        if (&audios[audioOfTrack[i]] == &audio)
            notesOfWriting.add (inFile->file()->path().getFileName() + ": the audio of track \""
                                + state.tracks[i].name + "\" was damaged there");
}

GroupTail SavePlan::tail() const
{
    auto result = groupTailFor (state);

    for (std::size_t i = 0; i < result.tracks.size(); ++i)
    {
        auto& track = result.tracks[i];
        const auto& audio = audios[audioOfTrack[i]];
        track.record.setSampleDataOffset (static_cast<std::int64_t> (audio.range.offset));
        track.record.setLengthInSamples (framesOf (audio.range));
        track.record.setProcessed (audio.range.channels == channelLayout::numRendered);

        if (audio.sums.length == 0)
            continue;

        track.properties.set (tailKey::sumsOffset, textOf (audio.sums.offset));
        track.properties.set (tailKey::sumsLength, textOf (audio.sums.length));
        track.properties.set (tailKey::sumsCrc, textOfCrc (audio.sums.crc));
    }

    return result;
}

GroupState SavePlan::stateIn (const std::shared_ptr<GroupFile>& file) const
{
    auto result = state;

    for (std::size_t i = 0; i < result.tracks.size(); ++i)
    {
        auto& track = result.tracks[i];
        const auto& audio = audios[audioOfTrack[i]];

        if (audio.samples == nullptr || audio.isInFile)
            continue;

        track.record.setSampleDataOffset (static_cast<std::int64_t> (audio.range.offset));
        track.record.setLengthInSamples (framesOf (audio.range));
        setSamplesFromFile (track, file, audio.sums);
    }

    return result;
}

} // namespace tessivar
