#include "model/groupfile/GroupFileLoading.h"

#include "model/groupfile/PropertyList.h"
#include "platform/BrokenReplacement.h"
#include "platform/DiskNames.h"
#include "terms/ChannelLayout.h"

#include <string_view>
#include <utility>

namespace tessivar
{

namespace
{
/** Tells the user how the file was found, and names it in all that is told. */
void addNotes (const FoundTail& found, LoadedGroup& group)
{
    juce::StringArray notes;

    if (found.replacesDamaged)
        notes.add ("the last save is damaged; the one before it was opened");
    else if (! found.isLast)
        notes.add ("recovered from an interrupted save");

    if (found.isOurs && ! found.sumIsRight)
        notes.add ("the file is damaged");

    notes.addArray (found.problems);

    if (! found.isOurs && ! found.isMarked)
        notes.add ("the file does not say that it is a group file");

    if (group.file->isReadOnly())
        notes.add (group.file->why());

    notes.addArray (group.notes);

    for (auto& text : notes)
        text = group.file->path().getFileName() + ": " + text;

    group.notes = notes;
}
} // namespace

SumsPlace sumsPlaceOf (const TailTrack& track, const AudioRange& audio, std::uint64_t fileSize)
{
    const auto offset = unsignedOf (track.properties[tailKey::sumsOffset]);
    const auto length = unsignedOf (track.properties[tailKey::sumsLength]);
    const auto crc = crcOf (track.properties[tailKey::sumsCrc]);

    if (! offset || ! length || ! crc || *length != AudioSums::lengthFor (audio.size) || *offset > fileSize
        || *length > fileSize - *offset)
        return {};

    return { *offset, *length, *crc };
}

void setSamplesFromFile (TrackState& track, const std::shared_ptr<GroupFile>& file, const SumsPlace& sums)
{
    track.source = nullptr;
    track.rendered = nullptr;

    if (problemOfAudio (track.record, file->sizeInBytes()).isNotEmpty())
    {
        // Nobody may go by a length that has no samples.
        track.record.setLengthInSamples (0);
        track.record.setProcessed (false);
        return;
    }

    const auto range = *audioRangeOf (track.record);
    auto samples = std::make_shared<GroupFileSamples> (file, range, sums);

    if (range.channels == channelLayout::numRendered)
    {
        track.source = std::make_shared<ChannelOfSamples> (samples, channelLayout::source);
        track.rendered = std::move (samples);
    }
    else
    {
        track.source = std::move (samples);
    }
}

juce::String reasonAgainstGroupFile (RandomAccessBytes& bytes, const juce::String& reasonOfTail)
{
    constexpr std::size_t headSize = 12;
    std::array<std::uint8_t, headSize> head{};

    if (bytes.sizeInBytes() == 0)
        return "the file is empty";

    if (bytes.read (0, head))
    {
        const std::string_view text (reinterpret_cast<const char*> (head.data()), head.size());

        if (text.substr (0, 4) == "RIFF" && text.substr (8, 4) == "DLS ")
            return "a bank of instrument sounds, which has the same extension; no group of drum tracks";

        if (text.substr (0, 4) == "RIFF" || text.substr (0, 4) == "RF64" || text.substr (0, 4) == "FORM")
            return "an audio file, no group file";
    }

    return "no group file, or a damaged one: " + reasonOfTail;
}

juce::Result findTailOf (GroupFile& file, FoundTail& found)
{
    const auto outcome = findGroupTail (file, found);

    if (const auto result = file.readResult(); result.failed())
        return result;

    return outcome.wasOk() ? outcome
                           : juce::Result::fail (file.path().getFullPathName() + ": "
                                                 + reasonAgainstGroupFile (file, outcome.getErrorMessage()));
}

juce::Result openGroupFile (const juce::File& path, LoadedGroup& group)
{
    LoadedGroup loaded;

    auto opened = GroupFile::open (path, loaded.file);

    if (opened.failed() && undoBrokenReplacement (path))
        opened = GroupFile::open (path, loaded.file);

    if (opened.failed())
        return opened;

    FoundTail found;

    if (const auto result = findTailOf (*loaded.file, found); result.failed())
        return result;

    const auto& file = loaded.file;
    loaded.state = groupStateFrom (found, readablePath (path.getFileNameWithoutExtension()), loaded.notes);
    loaded.recovered = ! found.isLast;
    loaded.damaged = ! found.isIntact() || found.replacesDamaged;

    // After a recovery the tail is not the end of the file, and is no place to look for it.
    if (found.isLast)
        file->setTail (found.start, found.end);

    for (std::size_t i = 0; i < loaded.state.tracks.size(); ++i)
    {
        auto& track = loaded.state.tracks[i];
        const auto range = audioRangeOf (track.record);
        setSamplesFromFile (track,
                            file,
                            range ? sumsPlaceOf (found.tail.tracks[i], *range, file->sizeInBytes())
                                  : SumsPlace{});

        if (track.name.isEmpty() && ! (found.isOurs && found.sumIsRight))
            track.name = "Track " + juce::String (i + 1);
    }

    addNotes (found, loaded);
    group = std::move (loaded);
    return juce::Result::ok();
}

} // namespace tessivar
