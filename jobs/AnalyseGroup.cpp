#include "jobs/AnalyseGroup.h"

#include "jobs/StoreSignals.h"
#include "model/TemporaryStore.h"
#include "platform/Folders.h"
#include "platform/Memory.h"
#include "terms/ChannelLayout.h"
#include "terms/DrumType.h"

#include <algorithm>
#include <limits>
#include <new>
#include <optional>
#include <span>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::uint64_t bytesPerRenderedSample = channelLayout::numRendered * sizeof (float);
constexpr std::uint64_t bytesPerComponentSample = channelLayout::numComponents * sizeof (float);

std::uint64_t lengthOf (const TrackState& track)
{
    return static_cast<std::uint64_t> (std::max<std::int64_t> (0, track.lengthInSamples()));
}

std::vector<TrackShape> shapesOf (const GroupState& group)
{
    std::vector<TrackShape> shapes;

    for (const auto& track : group.tracks)
        shapes.push_back ({ track.drumType(), track.excluded, track.sampleRate(), track.lengthInSamples() });

    return shapes;
}

/** The engine's working space in a TemporaryStore. Nothing of it reaches the tracks before the analysis is
    done.
*/
class StoreBackedStorage final : public AnalysisStorage
{
public:
    StoreBackedStorage (TemporaryStore& storeToUse, std::span<const TrackState> tracksToAnalyse)
        : store (storeToUse), tracks (tracksToAnalyse), results (tracksToAnalyse.size())
    {
    }

    ScratchPlanes* scratch (int numPlanes, std::int64_t lengthInSamples) override
    {
        return makePlanes (scratchPlanes, numPlanes, lengthInSamples);
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
        // The component planes are no longer needed, and there need not be room for both.
        scratchPlanes.reset();
        return makePlanes (spectrogramPlanes, numPlanes, floatsPerPlane);
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

        // The standard channels of the previous track are no longer needed. Their file already has its room
        // on disk.
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

    /** Why the engine got no room, or a write failed; empty when neither happened. */
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

    void moveInto (Group::AnalysedTrack& track, std::size_t index)
    {
        auto& result = results[index];

        if (const auto& rendered = result.refined != nullptr ? result.refined : result.rendered)
            track.rendered = std::make_shared<StoreSamples> (rendered, channelLayout::numRendered);

        track.components = std::move (result.components);
    }

private:
    struct TrackResult
    {
        std::shared_ptr<StoreFile> rendered, refined, components;
        std::optional<StoreSink> sink, refinedSink;
        int slot = -1;             // component being written
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

    ScratchPlanes* makePlanes (std::optional<StorePlanes>& planes, int numPlanes, std::int64_t floatsPerPlane)
    {
        const auto size = static_cast<std::uint64_t> (numPlanes) * static_cast<std::uint64_t> (floatsPerPlane)
                          * sizeof (float);

        if (auto file = make (size))
            planes.emplace (std::move (file), floatsPerPlane);

        return planes ? &*planes : nullptr;
    }

    TemporaryStore& store;
    std::span<const TrackState> tracks;
    std::vector<TrackResult> results;
    std::optional<StorePlanes> scratchPlanes, spectrogramPlanes;
    juce::String creationFailure;
};

/** The engine's status as an outcome; the reason comes from its storage or its sources. */
Outcome outcomeOf (AnalysisStatus status,
                   const StoreBackedStorage& storage,
                   std::span<const TrackSource> sources,
                   double sampleRate)
{
    const auto failed = [&] (const juce::String& reason)
    {
        return storage.ranOutOfRoom() ? Outcome::noRoom (reason.toStdString())
                                      : Outcome::failed (reason.toStdString());
    };

    switch (status)
    {
        case AnalysisStatus::unsupportedRate:
            return Outcome::refused (
                ("sample rate " + juce::String (sampleRate) + " Hz can't be analyzed").toStdString());
        case AnalysisStatus::readFailed:
            for (const auto& source : sources)
                if (source.lastError().isNotEmpty())
                    return failed (source.lastError());

            return failed ("a track's audio can't be read");
        case AnalysisStatus::storageFailed:
            return failed (storage.failure());
        case AnalysisStatus::numericalFailure:
            return failed ("a component holds nothing but values that are no numbers");
        case AnalysisStatus::stopped:
            return Outcome::stopped();
        case AnalysisStatus::completed:
            break;
    }

    return Outcome::ok();
}

/** Refused when the tracks have different sample rates. */
Outcome checkRates (const GroupState& group)
{
    const auto rateOf = [] (const TrackState& track)
    { return track.sourceInfo.file.getFullPathName() + " has " + juce::String (track.sampleRate()) + " Hz"; };

    for (const auto& track : group.tracks)
        if (track.sampleRate() != group.sampleRate())
            return Outcome::refused (("The tracks have different sample rates: " + rateOf (track) + ", "
                                      + rateOf (group.tracks.front()))
                                         .toStdString());

    return Outcome::ok();
}
} // namespace

Outcome RoomForecast::check() const
{
    const auto tooMuch = [] (const juce::String& what, std::uint64_t needed, std::uint64_t free)
    {
        return Outcome::noRoom (("not enough " + what + ": " + describeBytes (needed) + " needed, "
                                 + describeBytes (free) + " free")
                                    .toStdString());
    };

    if (memoryNeeded > memoryFree)
        return tooMuch ("memory", memoryNeeded, memoryFree);

    if (diskNeeded > diskFree)
        return tooMuch ("space in the temporary folder", diskNeeded, diskFree);

    return Outcome::ok();
}

Outcome checkContents (const GroupContents& contents)
{
    // A Group of HiHat tracks alone has close microphones; what it lacks is a Kick or Snare to tell them by.
    if (contents.breaksHiHatRule())
        return Outcome::refused (
            "In order to analyze the HiHat track a Kick or Snare track has to be present in the Group. "
            "Add a Kick/Snare track or select Other as the track type.");

    return contents.hasAnalysableCloseMicrophone
               ? Outcome::ok()
               : Outcome::refused ("Group has no close microphones to analyze.");
}

RoomForecast
forecastRoom (const GroupState& group, const AnalysisOptions& options, const juce::File& temporaryFolder)
{
    constexpr auto unknown = std::numeric_limits<std::uint64_t>::max();
    RoomForecast forecast;
    forecast.memoryFree = freeMemory().value_or (unknown);
    forecast.diskFree = freeBytesOf (temporaryFolder).value_or (unknown);

    const auto shape = AnalysisShape::forTracks (shapesOf (group));

    if (! shape)
        return forecast;

    const auto engine = forecastAnalysis (*shape, options);
    forecast.memoryNeeded = engine.memoryBytes;
    forecast.diskNeeded = engine.scratchBytes;

    std::uint64_t longest = 0;

    for (const auto& track : group.tracks)
    {
        const auto length = lengthOf (track);

        if (track.takesPart())
        {
            longest = std::max (longest, length);
            forecast.diskNeeded +=
                length * (bytesPerRenderedSample + (options.keepAllComponents ? bytesPerComponentSample : 0));
        }

        if (track.source == nullptr)
            forecast.diskNeeded += length * sizeof (float);
    }

    // One track at a time has its standard channels beside the refined ones.
    if (options.method == AnalysisMethod::refined)
        forecast.diskNeeded += longest * bytesPerRenderedSample;

    return forecast;
}

GroupAnalysis analyseGroup (const GroupState& state,
                            AnalysisOptions options,
                            TemporaryStore& store,
                            const WorkControl& control)
{
    GroupAnalysis result;
    options.method = state.method;

    for (const auto& check : { checkContents (GroupContents::of (state)),
                               checkRates (state),
                               forecastRoom (state, options, store.folder()).check() })
        if (! check.isOk())
        {
            result.outcome = check;
            return result;
        }

    try
    {
        StoreBackedStorage storage (store, state.tracks);
        std::vector<TrackSource> sources;
        std::vector<AnalysisTrack> engineTracks;
        const auto shapes = shapesOf (state);
        sources.reserve (state.tracks.size());

        for (std::size_t i = 0; i < state.tracks.size(); ++i)
        {
            jassert (state.tracks[i].source != nullptr);
            sources.emplace_back (state.tracks[i].source);
            engineTracks.push_back ({ shapes[i], &sources.back() });
        }

        const auto analysis = analyseTracks (engineTracks, options, storage, control);
        result.outcome = outcomeOf (analysis.status, storage, sources, state.sampleRate());

        if (! result.outcome.isOk())
            return result;

        result.analysis = { state.method, options.seed, static_cast<int> (state.tracks.size()) };

        for (std::size_t i = 0; i < state.tracks.size(); ++i)
        {
            Group::AnalysedTrack track;
            track.trackId = state.tracks[i].id;
            track.input = state.tracks[i].analysisInput();
            track.findings = analysis.tracks[i].findings;
            storage.moveInto (track, i);
            result.tracks.push_back (std::move (track));
        }

        if (analysis.startedAtRandom)
            result.notes.add (
                "The start that the refined method takes from the tracks came to nothing, as it may with "
                "very short ones. It began at random, as the standard method does: listen to the result.");
    }
    catch (const std::bad_alloc&)
    {
        result = {};
        result.outcome = Outcome::noRoom ("memory ran out");
    }

    return result;
}

void applyAnalysis (GroupState& state, const GroupAnalysis& result)
{
    jassert (result.tracks.size() == state.tracks.size());
    state.analysis = result.analysis;

    for (std::size_t i = 0; i < state.tracks.size(); ++i)
        result.tracks[i].applyTo (state.tracks[i]);
}

} // namespace tessivar
