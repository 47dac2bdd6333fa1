#include "jobs/AnalyseTracks.h"

#include "jobs/StoreSignals.h"
#include "jobs/SystemResources.h"
#include "model/DiskNames.h"
#include "model/StoreSamples.h"
#include "terms/ChannelLayout.h"
#include "terms/DrumType.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <utility>
#include <vector>

namespace tessivar
{

namespace
{
constexpr std::uint64_t bytesPerRenderedSample = channelLayout::numRendered * sizeof (float);
constexpr std::uint64_t bytesPerComponentSample = channelLayout::numComponents * sizeof (float);

std::uint64_t lengthOf (const SessionTrack& track)
{
    return static_cast<std::uint64_t> (std::max<std::int64_t> (0, track.lengthInSamples));
}

std::vector<TrackShape> shapesOf (std::span<const SessionTrack> tracks)
{
    std::vector<TrackShape> shapes;

    for (const auto& track : tracks)
        shapes.push_back ({ track.drumType, track.excluded, track.sampleRate, track.lengthInSamples });

    return shapes;
}

AnalysisOptions engineOptions (const AnalyseOptions& options)
{
    AnalysisOptions result;
    result.resourceFolder = bytesOfPath (options.resourceFolder);
    result.numThreads = options.numThreads;
    result.seed = options.seed;
    result.method = options.method;
    result.keepAllComponents = options.keepAllComponents;

    if (options.diagnostics)
        result.diagnostics = [&options] (std::string_view line) {
            options.diagnostics (
                juce::String::fromUTF8 (line.data(), static_cast<int> (line.size())).trimEnd());
        };

    return result;
}

/** The engine's working space in a TemporaryStore. Nothing of it reaches the tracks before the analysis is done. */
class StoreBackedStorage final : public AnalysisStorage
{
public:
    StoreBackedStorage (TemporaryStore& storeToUse, std::span<const SessionTrack> sessionTracks)
        : store (storeToUse), tracks (sessionTracks), results (sessionTracks.size())
    {
    }

    ScratchPlanes* scratch (int numPlanes, std::int64_t lengthInSamples) override
    {
        const auto size = static_cast<std::uint64_t> (numPlanes)
                          * static_cast<std::uint64_t> (lengthInSamples) * sizeof (float);

        if (auto file = make (size))
            scratchPlanes.emplace (std::move (file), lengthInSamples);

        return scratchPlanes ? &*scratchPlanes : nullptr;
    }

    RenderedTrackSink* rendered (int trackIndex) override
    {
        auto& result = results[static_cast<std::size_t> (trackIndex)];
        result.rendered = make (bytesPerRenderedSample * length (trackIndex));

        if (result.rendered != nullptr)
            result.sink.emplace (result.rendered);

        return result.sink ? &*result.sink : nullptr;
    }

    ScratchPlanes* spectrograms (int numPlanes, std::int64_t floatsPerPlane) override
    {
        // The component planes have served; their room is not needed twice.
        scratchPlanes.reset();
        const auto size = static_cast<std::uint64_t> (numPlanes) * static_cast<std::uint64_t> (floatsPerPlane)
                          * sizeof (float);

        if (auto file = make (size))
            spectrogramPlanes.emplace (std::move (file), floatsPerPlane);

        return spectrogramPlanes ? &*spectrogramPlanes : nullptr;
    }

    RenderedTrackSource* standard (int trackIndex) override
    {
        auto& result = results[static_cast<std::size_t> (trackIndex)];
        return result.sink ? &*result.sink : nullptr;
    }

    RenderedTrackSink* refined (int trackIndex) override
    {
        auto& result = results[static_cast<std::size_t> (trackIndex)];
        const auto size = bytesPerRenderedSample * length (trackIndex);

        // The standard channels of the track before have served. Their file has its room on disk and in the system's memory.
        if (const auto done = std::exchange (lastRefined, static_cast<std::size_t> (trackIndex));
            done < results.size())
        {
            results[done].sink.reset();

            if (auto file = std::exchange (results[done].rendered, nullptr);
                file != nullptr && file->sizeInBytes() == size)
                result.refined = std::move (file);
        }

        if (result.refined == nullptr)
            result.refined = make (size);

        if (result.refined != nullptr)
            result.refinedSink.emplace (result.refined);

        return result.refinedSink ? &*result.refinedSink : nullptr;
    }

    bool component (int trackIndex, int slot, std::span<const float> samples) override
    {
        auto& result = results[static_cast<std::size_t> (trackIndex)];

        if (result.components == nullptr)
            result.components = make (bytesPerComponentSample * length (trackIndex));

        if (result.components == nullptr)
            return false;

        if (slot != result.slot)
        {
            result.slot = slot;
            result.position = 0;
        }

        const auto first = slot * static_cast<std::int64_t> (length (trackIndex)) + result.position;
        result.position += static_cast<std::int64_t> (samples.size());
        return writeSamples (*result.components, first, samples);
    }

    /** Why the engine was refused room or a write; empty when neither happened. */
    [[nodiscard]] juce::String failure() const
    {
        if (creationFailure.isNotEmpty())
            return creationFailure;

        for (const auto* planes : { &scratchPlanes, &spectrogramPlanes })
            if (*planes && (*planes)->lastError().isNotEmpty())
                return (*planes)->lastError();

        for (const auto& result : results)
            for (const auto& file : { result.rendered, result.refined, result.components })
                if (file != nullptr && file->lastError().isNotEmpty())
                    return file->lastError();

        return {};
    }

    [[nodiscard]] bool ranOutOfRoom() const { return creationFailure.isNotEmpty(); }

    void moveInto (std::size_t index, SessionTrack& track)
    {
        auto& result = results[index];
        const auto& rendered = result.refined != nullptr ? result.refined : result.rendered;
        track.rendered = rendered != nullptr
                             ? std::make_shared<StoreSamples> (rendered, channelLayout::numRendered)
                             : nullptr;
        track.components = std::move (result.components);
    }

private:
    struct TrackResult
    {
        std::shared_ptr<StoreFile> rendered, refined, components;
        std::optional<StoreSink> sink, refinedSink;
        int slot = -1;             // of the component that is being written
        std::int64_t position = 0; // its next sample
    };

    [[nodiscard]] std::uint64_t length (int trackIndex) const
    {
        return lengthOf (tracks[static_cast<std::size_t> (trackIndex)]);
    }

    std::size_t lastRefined = SIZE_MAX; // none yet

    std::shared_ptr<StoreFile> make (std::uint64_t size)
    {
        std::shared_ptr<StoreFile> file;

        if (const auto made = store.createFile (size, file); made.failed())
            creationFailure = made.getErrorMessage();

        return file;
    }

    TemporaryStore& store;
    std::span<const SessionTrack> tracks;
    std::vector<TrackResult> results;
    std::optional<StorePlanes> scratchPlanes, spectrogramPlanes;
    juce::String creationFailure;
};

AnalyseOutcome outcomeOf (AnalyseStatus status, const juce::String& message, const juce::String& reason = {})
{
    AnalyseOutcome outcome;
    outcome.status = status;
    outcome.message = message;
    outcome.reason = reason;
    return outcome;
}

juce::String reasonOf (AnalysisStatus status,
                       const StoreBackedStorage& storage,
                       std::span<const TrackSource> sources,
                       double sampleRate)
{
    switch (status)
    {
        case AnalysisStatus::unsupportedRate:
            return "sample rate " + juce::String (sampleRate) + " Hz can't be analysed";
        case AnalysisStatus::readFailed:
            for (const auto& source : sources)
                if (source.lastError().isNotEmpty())
                    return source.lastError();

            return "a track's audio can't be read";
        case AnalysisStatus::storageFailed:
            return storage.failure();
        case AnalysisStatus::numericalFailure:
            return "a component holds nothing but values that are no numbers";
        case AnalysisStatus::completed:
        case AnalysisStatus::stopped:
            break;
    }

    return {};
}
} // namespace

juce::Result AnalyseForecast::check() const
{
    const auto tooMuch = [] (const juce::String& what, std::uint64_t needed, std::uint64_t free)
    {
        return juce::Result::fail ("not enough " + what + ": " + describeBytes (needed) + " needed, "
                                   + describeBytes (free) + " free");
    };

    if (memoryNeeded > memoryFree)
        return tooMuch ("memory", memoryNeeded, memoryFree);

    if (diskNeeded > diskFree)
        return tooMuch ("space in the temporary folder", diskNeeded, diskFree);

    return juce::Result::ok();
}

juce::Result AnalyseOutcome::result() const
{
    if (status == AnalyseStatus::completed)
        return juce::Result::ok();

    if (status == AnalyseStatus::stopped)
        return juce::Result::fail ("stopped");

    return juce::Result::fail (reason.isEmpty() ? message : message + "\n" + reason);
}

juce::String analysisRefusal (const GroupContents& contents)
{
    // A Group of HiHat tracks alone has close microphones; what it lacks is a Kick or Snare to tell them by.
    if (contents.breaksHiHatRule())
        return "In order to analyze the HiHat track a Kick or Snare track has to be present in the Group. "
               "Add a Kick/Snare track or select Other as the track type.";

    return contents.hasAnalysableCloseMicrophone ? juce::String()
                                                 : "Group has no close microphones to analyze.";
}

juce::String analysisRefusal (std::span<const SessionTrack> tracks)
{
    GroupContents contents;

    for (const auto& track : tracks)
        contents.add (track.drumType, track.excluded);

    return analysisRefusal (contents);
}

AnalyseForecast forecastAnalyse (std::span<const SessionTrack> tracks,
                                 const AnalyseOptions& options,
                                 const juce::File& temporaryFolder)
{
    constexpr auto unknown = std::numeric_limits<std::uint64_t>::max();
    AnalyseForecast forecast;
    forecast.memoryFree = freeMemory().value_or (unknown);
    forecast.diskFree = freeBytesOf (temporaryFolder).value_or (unknown);

    const auto shape = AnalysisShape::forTracks (shapesOf (tracks));

    if (! shape)
        return forecast;

    const auto engine = forecastAnalysis (*shape, engineOptions (options));
    forecast.memoryNeeded = engine.memoryBytes;
    forecast.diskNeeded = engine.scratchBytes;

    std::uint64_t longest = 0;

    for (const auto& track : tracks)
    {
        if (track.takesPart())
        {
            longest = std::max (longest, lengthOf (track));
            forecast.diskNeeded +=
                lengthOf (track)
                * (bytesPerRenderedSample + (options.keepAllComponents ? bytesPerComponentSample : 0));
        }

        if (track.source == nullptr)
            forecast.diskNeeded += lengthOf (track) * sizeof (float);
    }

    // One track at a time has its standard channels beside the refined ones.
    if (options.method == AnalysisMethod::refined)
        forecast.diskNeeded += longest * bytesPerRenderedSample;

    return forecast;
}

AnalyseOutcome analyseSession (std::span<SessionTrack> tracks,
                               const AnalyseOptions& options,
                               TemporaryStore& store,
                               const WorkControl& control)
{
    if (const auto refusal = analysisRefusal (tracks); refusal.isNotEmpty())
        return outcomeOf (AnalyseStatus::refused, refusal);

    for (const auto& track : tracks)
        if (track.sampleRate != tracks.front().sampleRate)
            return outcomeOf (AnalyseStatus::refused,
                              "The tracks have different sample rates.",
                              track.sourceFile.getFullPathName() + " has " + juce::String (track.sampleRate)
                                  + " Hz, " + tracks.front().sourceFile.getFullPathName() + " has "
                                  + juce::String (tracks.front().sampleRate) + " Hz");

    if (const auto room = forecastAnalyse (tracks, options, store.folder()).check(); room.failed())
        return outcomeOf (AnalyseStatus::noRoom, analysisFailedText, room.getErrorMessage());

    try
    {
        StoreBackedStorage storage (store, tracks);
        std::vector<TrackSource> sources;
        std::vector<AnalysisTrack> engineTracks;
        const auto shapes = shapesOf (tracks);
        sources.reserve (tracks.size());

        for (std::size_t i = 0; i < tracks.size(); ++i)
        {
            jassert (tracks[i].source != nullptr);
            sources.emplace_back (tracks[i].source);
            engineTracks.push_back ({ shapes[i], &sources.back() });
        }

        AnalyseOutcome outcome;
        auto analysis = analyseTracks (engineTracks, engineOptions (options), storage, control);
        outcome.shape = analysis.shape;

        if (analysis.status == AnalysisStatus::stopped)
        {
            outcome.status = AnalyseStatus::stopped;
            return outcome;
        }

        if (analysis.status != AnalysisStatus::completed)
        {
            const auto isRate = analysis.status == AnalysisStatus::unsupportedRate;
            outcome.status = isRate                   ? AnalyseStatus::refused
                             : storage.ranOutOfRoom() ? AnalyseStatus::noRoom
                                                      : AnalyseStatus::failed;
            outcome.message = analysisFailedText;
            outcome.reason = reasonOf (analysis.status, storage, sources, tracks.front().sampleRate);
            return outcome;
        }

        for (std::size_t i = 0; i < tracks.size(); ++i)
        {
            tracks[i].processed = analysis.tracks[i].rendered;
            tracks[i].analysis = analysis.tracks[i];
            storage.moveInto (i, tracks[i]);
        }

        if (analysis.startedAtRandom)
            outcome.notes.add (
                "The start that the refined method takes from the tracks came to nothing, as it may with "
                "very short ones. It began at random, as the standard method does: listen to the result.");

        return outcome;
    }
    catch (const std::bad_alloc&)
    {
        return outcomeOf (AnalyseStatus::noRoom, analysisFailedText, "memory ran out");
    }
}

} // namespace tessivar
