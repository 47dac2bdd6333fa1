#include "jobs/ImportTracks.h"

#include "jobs/AudioFileChunks.h"
#include "jobs/StoreSignals.h"
#include "model/StoreSamples.h"
#include "terms/ChannelLayout.h"

namespace tessivar
{

namespace
{
/** Puts the decoded channels of one file into one StoreFile each. */
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
            const auto numBytes = static_cast<std::uint64_t> (track.lengthInSamples) * sizeof (float);

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

SessionTrack sessionTrackOf (const IntakeTrack& intake)
{
    SessionTrack track;
    track.sourceFile = intake.file;
    track.name = intake.name;
    track.channel = intake.channel;
    track.numChannels = intake.numChannels;
    track.sampleRate = intake.sampleRate;
    track.lengthInSamples = intake.lengthInSamples;
    track.bitsPerSample = intake.bitsPerSample;
    track.isFloatingPoint = intake.isFloatingPoint;
    track.metadata = intake.metadata;
    track.drumType = intake.drumType;
    return track;
}
} // namespace

ImportOutcome importFile (const juce::File& file,
                          double groupSampleRate,
                          ImportWarnings& warnings,
                          TemporaryStore* store,
                          const WorkControl& control)
{
    const WorkControl intakeControl{ control.shouldStop, control.setProgress };
    ImportOutcome outcome;

    if (store == nullptr)
    {
        outcome.intake = intakeFile (file, groupSampleRate, warnings, nullptr, intakeControl);

        for (const auto& track : outcome.intake.tracks)
            outcome.tracks.push_back (sessionTrackOf (track));

        return outcome;
    }

    StoreIntake sink (*store);
    outcome.intake = intakeFile (file, groupSampleRate, warnings, &sink, intakeControl);

    if (outcome.intake.storageFailed && sink.failure.isNotEmpty())
        outcome.intake.reason = file.getFullPathName() + " can't be read in: " + sink.failure;

    auto chunks = outcome.intake.accepted() ? readSourceChunks (file) : nullptr;

    if (chunks != nullptr && chunks->numBytes() > SourceChunks::maxBytes)
        chunks.reset();

    for (std::size_t i = 0; i < outcome.intake.tracks.size(); ++i)
    {
        outcome.tracks.push_back (sessionTrackOf (outcome.intake.tracks[i]));
        outcome.tracks.back().source =
            std::make_shared<StoreSamples> (sink.channels[i], channelLayout::numUnrendered);
        outcome.tracks.back().sourceChunks = chunks;
    }

    return outcome;
}

} // namespace tessivar
