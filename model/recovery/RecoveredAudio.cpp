#include "model/recovery/RecoveredAudio.h"

#include "model/RenderedSamples.h"
#include "model/TemporaryStore.h"
#include "platform/Process.h"
#include "terms/ChannelLayout.h"

#include <algorithm>

namespace tessivar
{

namespace
{
/** What a cache still holds under a key; else what make gives, which is put there. */
template <typename Value, typename Make>
std::shared_ptr<Value>
cached (std::map<juce::String, std::weak_ptr<Value>>& cache, const juce::String& key, Make&& make)
{
    if (auto held = cache[key].lock())
        return held;

    std::shared_ptr<Value> made = make();
    cache[key] = made;
    return made;
}

/** Bytes of the place's frames; nothing when there are more than a file can hold. */
std::optional<std::uint64_t> sizeOf (const AudioPlace& place)
{
    const auto frameSize = static_cast<std::uint64_t> (place.numChannels) * sizeof (float);
    const auto frames = static_cast<std::uint64_t> (place.numFrames);

    if (frames > place.identity.size / frameSize || place.offset > place.identity.size - frames * frameSize)
        return std::nullopt;

    return frames * frameSize;
}

juce::String keyOf (const TrackSamples::Location& location, int numChannels)
{
    return location.file.getFullPathName() + "\n" + juce::String (location.offset) + "\n"
           + juce::String (numChannels);
}

bool usesStore (const RecoveryEntry::TrackAudio& audio)
{
    const auto isInStore = [] (const std::optional<AudioPlace>& place)
    { return place && TemporaryStore::isStoreFile (place->file); };
    return isInStore (audio.source) || isInStore (audio.rendered);
}
} // namespace

void RecoveredAudio::attach (RecoveryEntry& entry, const LoadedGroup& own, juce::StringArray& notes)
{
    if (own.file != nullptr)
        groupFiles[own.file->path().getFullPathName()] = own.file;

    // Samples that the file itself lists come with the sums by which it can be verified.
    for (const auto& track : own.state.tracks)
        for (const auto& listed : { track.source, track.rendered })
            if (listed != nullptr && dynamic_cast<ChannelOfSamples*> (listed.get()) == nullptr)
                samples[keyOf (listed->location(), listed->numChannels())] = listed;

    for (std::size_t i = 0; i < entry.state.tracks.size(); ++i)
        attachTo (entry.state.tracks[i], entry.audio[i], notes);

    if (entry.boot != currentBoot() && std::ranges::any_of (entry.audio, usesStore))
        notes.add (
            "The computer was restarted since this was written down. Audio that was not saved in a group "
            "file may have gaps: listen before you rely on it.");
}

void RecoveredAudio::attachTo (TrackState& track,
                               const RecoveryEntry::TrackAudio& audio,
                               juce::StringArray& notes)
{
    const auto length = track.record.lengthInSamples();

    if (audio.source)
        track.source = samplesAt (*audio.source, length, nullptr);

    if (track.source != nullptr && track.source->numChannels() != channelLayout::numUnrendered)
        track.source.reset();

    if (audio.rendered && audio.rendered->numChannels == channelLayout::numRendered
        && audio.rendered->channel == AudioPlace::allChannels)
        track.rendered = samplesAt (*audio.rendered, length, track.source);

    if (track.source == nullptr && track.rendered != nullptr)
        track.source = std::make_shared<ChannelOfSamples> (track.rendered, channelLayout::source);

    if (audio.components)
        track.components = storeFileAt (*audio.components);

    if (track.source == nullptr)
        notes.add (track.name + ": the audio is gone."
                   + (track.sourceInfo.file.existsAsFile()
                          ? " " + track.sourceInfo.file.getFullPathName()
                                + " is still there and can be imported again."
                          : juce::String()));

    if (track.rendered == nullptr && track.record.isProcessed())
    {
        track.record.setProcessed (false);
        track.analysedAs.reset();
        track.findings = {};

        if (track.source != nullptr)
            notes.add (track.name + ": what the analysis gave is gone. The Group has to be analyzed again.");
    }
}

RecoveredAudio::Samples
RecoveredAudio::samplesAt (const AudioPlace& place, std::int64_t numFrames, const Samples& source)
{
    const auto now = FileIdentity::of (place.file);

    if (! now || ! place.identity.isStillIn (*now) || place.numFrames != numFrames)
        return nullptr;

    const auto where = keyOf ({ place.file, place.offset }, place.numChannels);
    const auto frames = cached (samples, where, [&] { return framesAt (place, source); });

    if (frames == nullptr || frames->lengthInFrames() != numFrames)
        return nullptr;

    const auto found = place.channel == AudioPlace::allChannels
                           ? frames
                           : std::make_shared<ChannelOfSamples> (frames, place.channel);

    return probes.of (found) == place.probe ? found : nullptr;
}

RecoveredAudio::Samples RecoveredAudio::storeSamplesAt (const AudioPlace& place, const Samples& source)
{
    const auto isComponents = place.numChannels == channelLayout::numRendered && source != nullptr
                              && place.identity.size == ComponentFile::sizeFor (place.numFrames)
                              && source->lengthInFrames() == place.numFrames;

    if (place.offset != 0 || (! isComponents && sizeOf (place) != place.identity.size))
        return nullptr;

    const auto file = storeFileAt (place);

    if (file == nullptr || ! isComponents)
        return file != nullptr ? std::make_shared<StoreSamples> (file, place.numChannels) : nullptr;

    const auto level = ComponentFile (file).readLevel();
    return level ? std::make_shared<RenderedSamples> (file, *level, source) : nullptr;
}

RecoveredAudio::Samples RecoveredAudio::framesAt (const AudioPlace& place, const Samples& source)
{
    if (TemporaryStore::isStoreFile (place.file))
        return storeSamplesAt (place, source);

    const auto size = sizeOf (place);
    const auto file = size ? groupFileAt (place.file) : nullptr;

    if (file == nullptr || place.offset > file->sizeInBytes() || *size > file->sizeInBytes() - place.offset)
        return nullptr;

    return std::make_shared<GroupFileSamples> (
        file, AudioRange{ place.offset, *size, place.numChannels }, SumsPlace{});
}

std::shared_ptr<StoreFile> RecoveredAudio::storeFileAt (const AudioPlace& place)
{
    if (! TemporaryStore::isStoreFile (place.file))
        return nullptr;

    const auto folder = place.file.getParentDirectory();

    return cached (
        storeFiles,
        place.file.getFullPathName(),
        [&]
        {
            // Held until the file is open, which then holds it.
            const auto store = cached (stores,
                                       folder.getFullPathName(),
                                       [&]
                                       {
                                           std::shared_ptr<TemporaryStore> adopted;
                                           juce::ignoreUnused (TemporaryStore::adopt (folder, adopted));
                                           return adopted;
                                       });
            std::shared_ptr<StoreFile> file;

            if (store != nullptr)
                juce::ignoreUnused (store->openFile (place.file.getFileName(), place.identity.size, file));

            return file;
        });
}

std::shared_ptr<GroupFile> RecoveredAudio::groupFileAt (const juce::File& path)
{
    return cached (groupFiles,
                   path.getFullPathName(),
                   [&]
                   {
                       std::shared_ptr<GroupFile> file;
                       juce::ignoreUnused (GroupFile::open (path, file));
                       return file;
                   });
}

} // namespace tessivar
