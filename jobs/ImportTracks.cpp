#include "jobs/ImportTracks.h"

#include "engine/numerics/WorkerPool.h"
#include "jobs/AudioFileChunks.h"
#include "jobs/StoreSignals.h"
#include "model/TemporaryStore.h"
#include "model/audiofile/ChunkReading.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <numeric>
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

/** What a file that is read beside others comes to, before those in front of it are known. */
struct ReadFile
{
    Intake intake;
    ImportWarnings warnings;
    double checkedRate = 0.0; // Hz, that of the Group as far as it could be told
};

/** The files of a batch, read at the same time. */
class BatchReading
{
public:
    BatchReading (const std::vector<juce::File>& filesToRead,
                  double sampleRate,
                  TemporaryStore& storeToUse,
                  const WorkControl& workControl,
                  const FileWatch& fileWatch)
        : files (filesToRead), groupRate (sampleRate), store (storeToUse), control (workControl),
          onFile (fileWatch), results (files.size()), fractions (files.size()), end (files.size())
    {
        for (const auto& file : files)
            weights.push_back (static_cast<double> (std::max<juce::int64> (1, file.getSize())));

        // Which file decides on the rate is known for sure when those before it were read. Their headers tell
        // nearly always.
        for (; groupRate <= 0.0 && files.size() > 1 && firstOfRate + 1 < files.size(); ++firstOfRate)
        {
            ImportWarnings ignored;

            if (const auto intake = importFile (files[firstOfRate], 0.0, ignored, nullptr, control);
                intake.accepted())
            {
                rateOfHeaders = intake.tracks.front().state.sampleRate();
                break;
            }
        }
    }

    /** Reads a file, unless one before it has ended the batch; from several threads. */
    void read (std::size_t index)
    {
        if (index > end)
            return;

        auto& result = results[index];
        result.checkedRate = groupRate > 0.0 || index <= firstOfRate ? groupRate : rateOfHeaders;
        result.intake = importFile (files[index],
                                    result.checkedRate,
                                    result.warnings,
                                    &store,
                                    { [&] { return index > end || control.stopRequested(); },
                                      [&] (double fraction) { progress (index, fraction); } });

        if (control.stopRequested())
            result.intake.outcome = Outcome::stopped();

        if (endsBatch (result.intake))
            for (auto last = end.load(); index < last && ! end.compare_exchange_weak (last, index);)
            {
            }

        progress (index, 1.0, isRefused (result.intake));
    }

    /** The results in the order of the files. */
    std::vector<Intake> take (ImportWarnings& warnings)
    {
        std::vector<Intake> intakes;
        auto rate = groupRate;

        for (std::size_t i = 0; i < files.size(); ++i)
        {
            auto& [intake, ownWarnings, checkedRate] = results[i];

            // The file that was to decide on the rate turned out damaged.
            if (checkedRate != rate && (rate > 0.0 || intake.code == ImportWarnings::differentSampleRate))
            {
                ownWarnings.clear();
                intake = {};
                intake = importFile (files[i], rate, ownWarnings, &store, { control.shouldStop, {} });

                if (control.stopRequested())
                    intake.outcome = Outcome::stopped();
            }

            warnings.add (ownWarnings);

            if (intake.accepted() && rate <= 0.0)
                rate = intake.tracks.front().state.sampleRate();

            intakes.push_back (std::move (intake));

            if (endsBatch (intakes.back()))
                break;
        }

        return intakes;
    }

private:
    static bool endsBatch (const Intake& intake)
    {
        return intake.outcome.wasStopped() || intake.outcome.end == Outcome::End::noRoom;
    }

    static bool isRefused (const Intake& intake)
    {
        return intake.outcome.end == Outcome::End::refused || intake.outcome.end == Outcome::End::failed;
    }

    void progress (std::size_t index, double fraction, bool isRefusedNow = false)
    {
        const std::lock_guard lock (progressLock);
        fractions[index] = fraction;
        const auto done = std::inner_product (weights.begin(), weights.end(), fractions.begin(), 0.0);
        control.progress (done / std::accumulate (weights.begin(), weights.end(), 0.0));

        if (onFile)
            onFile (index, fraction, isRefusedNow);
    }

    const std::vector<juce::File>& files;
    const double groupRate;
    TemporaryStore& store;
    const WorkControl& control;
    const FileWatch& onFile;

    std::size_t firstOfRate = 0; // decides on the rate where the Group has none
    double rateOfHeaders = 0.0;

    std::vector<ReadFile> results;
    std::vector<double> weights;
    std::mutex progressLock; // guards fractions, and that one thread at a time tells them
    std::vector<double> fractions;
    std::atomic<std::size_t> end; // the first file known to end the batch
};
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

std::vector<Intake> importFiles (const std::vector<juce::File>& files,
                                 double groupSampleRate,
                                 ImportWarnings& warnings,
                                 TemporaryStore& store,
                                 int numThreads,
                                 const WorkControl& control,
                                 const FileWatch& onFile)
{
    BatchReading batch (files, groupSampleRate, store, control, onFile);
    WorkerPool pool (std::min (numThreads, static_cast<int> (files.size())));
    pool.forEach (files.size(), [&] (std::size_t index, int) { batch.read (index); });
    return batch.take (warnings);
}

ImportedTracks importTracks (const std::vector<juce::File>& files,
                             const GroupState& group,
                             ImportWarnings& warnings,
                             TemporaryStore& store,
                             int numThreads,
                             const WorkControl& control,
                             const FileWatch& onFile)
{
    ImportedTracks result;
    auto intakes = importFiles (files, group.sampleRate(), warnings, store, numThreads, control, onFile);

    for (std::size_t i = 0; i < intakes.size(); ++i)
    {
        auto& intake = intakes[i];

        switch (intake.outcome.end)
        {
            case Outcome::End::stopped:
            case Outcome::End::noRoom:
                result = {};
                result.outcome = std::move (intake.outcome);
                return result;
            case Outcome::End::refused:
            case Outcome::End::failed:
                result.refused.push_back ({ files[i], intake.code, intake.outcome.reason });
                break;
            case Outcome::End::ok:
                for (auto& track : intake.tracks)
                    result.tracks.push_back (std::move (track.state));
                break;
        }

        for (const auto& note : intake.notes)
            result.notes.addIfNotAlreadyThere (note);
    }

    checkBatch (group.tracks, result.tracks, warnings);
    control.progress (1.0);
    return result;
}

} // namespace tessivar
