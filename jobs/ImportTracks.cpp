#include "jobs/ImportTracks.h"

#include "jobs/AudioFileChunks.h"
#include "jobs/StoreSignals.h"
#include "model/TemporaryStore.h"
#include "model/audiofile/ChunkReading.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
/** Writes each decoded channel of a file into a StoreFile. */
class StoreIntake final : public IntakeSink
{
public:
    explicit StoreIntake (TemporaryStore& storeToUse) : store (storeToUse) {}

    bool begin (const std::vector<IntakeTrack>& tracks) override
    {
        channels.clear();

        for (const auto& track : tracks)
        {
            std::shared_ptr<StoreFile> file;
            const auto numBytes = static_cast<std::uint64_t> (track.state.lengthInSamples()) * sizeof (float);

            if (const auto made = store.createFile (numBytes, file); made.failed())
            {
                failure = made.getErrorMessage();
                return false;
            }

            channels.push_back (std::move (file));
        }

        return true;
    }

    bool block (int channel, std::int64_t start, std::span<const float> samples) override
    {
        auto& file = *channels[static_cast<std::size_t> (channel)];

        if (writeSamples (file, start, samples))
            return true;

        failure = file.lastError();
        return false;
    }

    std::vector<std::shared_ptr<StoreFile>> channels;
    juce::String failure;

private:
    TemporaryStore& store;
};

/** A file's share of the work: its size, for want of anything better. */
double weightOf (const juce::File& file)
{
    return static_cast<double> (std::max<juce::int64> (1, file.getSize()));
}
} // namespace

Intake importFile (const juce::File& file,
                   double groupSampleRate,
                   ImportWarnings& warnings,
                   TemporaryStore* store,
                   const WorkControl& control)
{
    if (store == nullptr)
        return intakeFile (file, groupSampleRate, warnings, nullptr, control);

    StoreIntake sink (*store);
    auto intake = intakeFile (file, groupSampleRate, warnings, &sink, control);

    if (intake.outcome.end == Outcome::End::noRoom && sink.failure.isNotEmpty())
        intake.outcome.reason = (file.getFullPathName() + " can't be read in: " + sink.failure).toStdString();

    if (! intake.accepted())
        return intake;

    auto chunks = readSourceChunks (file);

    if (chunks != nullptr && chunks->numBytes() > SourceChunks::maxBytes)
        chunks.reset();

    for (std::size_t i = 0; i < intake.tracks.size(); ++i)
    {
        auto& track = intake.tracks[i].state;
        track.source = std::make_shared<StoreSamples> (sink.channels[i], channelLayout::numUnrendered);
        track.sourceInfo.chunks = chunks;
    }

    return intake;
}

ImportedTracks importTracks (const std::vector<juce::File>& files,
                             const GroupState& group,
                             ImportWarnings& warnings,
                             TemporaryStore& store,
                             const WorkControl& control)
{
    ImportedTracks result;
    auto sampleRate = group.sampleRate();
    double total = 0.0, done = 0.0;

    for (const auto& file : files)
        total += weightOf (file);

    for (const auto& file : files)
    {
        auto ofFile = control;
        ofFile.setProgress = [&] (double fraction)
        { control.progress ((done + fraction * weightOf (file)) / total); };
        auto intake = importFile (file, sampleRate, warnings, &store, ofFile);

        if (control.stopRequested())
            intake.outcome = Outcome::stopped();

        switch (intake.outcome.end)
        {
            case Outcome::End::stopped:
            case Outcome::End::noRoom:
                result = {};
                result.outcome = std::move (intake.outcome);
                return result;
            case Outcome::End::refused:
            case Outcome::End::failed:
                result.refused.push_back ({ file, intake.code, intake.outcome.reason });
                break;
            case Outcome::End::ok:
                for (auto& track : intake.tracks)
                {
                    sampleRate = track.state.sampleRate();
                    result.tracks.push_back (std::move (track.state));
                }
                break;
        }

        for (const auto& note : intake.notes)
            result.notes.addIfNotAlreadyThere (note);

        done += weightOf (file);
    }

    checkBatch (group.tracks, result.tracks, warnings);
    control.progress (1.0);
    return result;
}

} // namespace tessivar
