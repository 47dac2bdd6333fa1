#include "jobs/GroupDLSImporter.h"

#include "jobs/StoreSignals.h"
#include "model/TemporaryStore.h"
#include "model/audiofile/AudioIntake.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
struct Copy
{
    Outcome outcome; // ok, stopped, noRoom, or failed when the original can't be read
    std::shared_ptr<TrackSamples> samples;
};

/** Copies samples into the store; setProgress gets the number of frames done. */
Copy copyOf (TrackSamples& original,
             TemporaryStore& store,
             const WorkControl& control,
             const std::function<void (std::int64_t)>& setProgress)
{
    const auto numChannels = static_cast<std::size_t> (original.numChannels());
    const auto length = original.lengthInFrames();
    std::shared_ptr<StoreFile> file;

    if (const auto made =
            store.createFile (static_cast<std::uint64_t> (length) * numChannels * sizeof (float), file);
        made.failed())
        return { Outcome::noRoom (made.getErrorMessage().toStdString()), nullptr };

    std::vector<float> chunk (
        static_cast<std::size_t> (std::min<std::int64_t> (length, GroupDLSImporter::chunkLength))
        * numChannels);

    for (std::int64_t start = 0; start < length; start += GroupDLSImporter::chunkLength)
    {
        if (control.stopRequested())
            return { Outcome::stopped(), nullptr };

        const auto count = std::min<std::int64_t> (GroupDLSImporter::chunkLength, length - start);
        const auto frames = std::span<float> (chunk).first (static_cast<std::size_t> (count) * numChannels);

        if (! original.readFrames (start, frames))
            return { Outcome::failed (original.lastError().toStdString()), nullptr };

        if (! writeSamples (*file, start * original.numChannels(), frames))
            return { Outcome::noRoom (file->lastError().toStdString()), nullptr };

        setProgress (start + count);
    }

    return { Outcome::ok(), std::make_shared<StoreSamples> (file, original.numChannels()) };
}

/** All samples there are of a track. */
std::shared_ptr<TrackSamples> allSamplesOf (const TrackState& track)
{
    return track.rendered != nullptr ? track.rendered : track.source;
}

void adopt (TrackState& track, std::shared_ptr<TrackSamples> samples)
{
    const auto isRendered = samples->numChannels() == channelLayout::numRendered;
    track.source = isRendered ? std::make_shared<ChannelOfSamples> (samples, channelLayout::source) : samples;
    track.rendered = isRendered ? std::move (samples) : nullptr;
    track.components.reset();
    track.analysedAs.reset();
    track.id = 0;
}
} // namespace

juce::Result GroupDLSImporter::open (const juce::File& file, ImportWarnings& warnings)
{
    groupFile = file;
    loaded = {};
    const auto outcome = openGroupFile (file, loaded);

    if (outcome.failed())
        warnings.add (file.getFileName(),
                      file.existsAsFile() ? ImportWarnings::unreadable : ImportWarnings::missing,
                      outcome.getErrorMessage());

    return outcome;
}

ImportedTracks GroupDLSImporter::import (const std::vector<int>& indices,
                                         const GroupState& target,
                                         ImportWarnings& warnings,
                                         TemporaryStore& store,
                                         const WorkControl& control) const
{
    ImportedTracks result;
    std::vector<TrackState> wanted;
    std::int64_t total = 0, done = 0;
    auto sampleRate = target.sampleRate();
    const auto refuse = [&] (const TrackState& track, int code, const juce::String& reason)
    {
        warnings.add (track.name, code, reason);
        result.refused.push_back (
            { groupFile, code, groupFile.getFullPathName() + ", " + track.name + ": " + reason });
    };

    for (const auto index : indices)
    {
        const auto& track = loaded.state.tracks[static_cast<std::size_t> (index)];

        if (allSamplesOf (track) == nullptr)
        {
            refuse (track, ImportWarnings::unreadableInGroupFile, "its audio is not in the file");
            continue;
        }

        if (const auto refusal =
                checkTrack (track.name, track.sampleRate(), track.lengthInSamples(), sampleRate, warnings))
        {
            refuse (track, refusal->code, refusal->reason);
            continue;
        }

        sampleRate = track.sampleRate();
        total += track.lengthInSamples();
        wanted.push_back (track);
    }

    for (auto& track : wanted)
    {
        auto copy =
            copyOf (*allSamplesOf (track),
                    store,
                    control,
                    [&] (std::int64_t frames) {
                        control.progress (static_cast<double> (done + frames) / static_cast<double> (total));
                    });

        if (copy.outcome.wasStopped() || copy.outcome.end == Outcome::End::noRoom)
        {
            result = {};
            result.outcome = std::move (copy.outcome);
            return result;
        }

        done += track.lengthInSamples();

        if (! copy.outcome.isOk())
        {
            refuse (track, ImportWarnings::unreadableInGroupFile, copy.outcome.reason);
            continue;
        }

        adopt (track, std::move (copy.samples));
        result.tracks.push_back (std::move (track));
    }

    auto batch = result.tracks;

    for (auto& track : batch)
        track.sourceInfo.file = juce::File(); // the user picked it by name

    checkBatch (target.tracks, batch, warnings);
    return result;
}

} // namespace tessivar
