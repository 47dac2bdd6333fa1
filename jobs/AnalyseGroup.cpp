#include "jobs/AnalyseGroup.h"

#include "engine/AnalysisTime.h"
#include "engine/DrumRecognition.h"
#include "jobs/KnobRendering.h"
#include "jobs/StoreSignals.h"
#include "model/TemporaryStore.h"
#include "platform/Folders.h"
#include "platform/Memory.h"
#include "terms/ChannelLayout.h"
#include "terms/DrumType.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <utility>

namespace tessivar
{

namespace
{
constexpr double shortPieceSeconds = 20.0; // below, there may be too few hits to learn a drum from
constexpr std::uint64_t mostBytesPerMixedSample = sizeof (float);
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
    StoreBackedStorage (TemporaryStore& storeToUse,
                        std::span<const TrackState> tracksToAnalyse,
                        const KnobsOf& knobsToSound,
                        bool keepsSpectraInMemory)
        : store (storeToUse), tracks (tracksToAnalyse), soundingKnobs (knobsToSound),
          spectraInMemory (keepsSpectraInMemory), results (tracksToAnalyse.size())
    {
    }

    ComponentSink* rendered (int trackIndex) override { return makeComponents (trackIndex); }

    ComponentSource* standard (int trackIndex) override
    {
        auto& result = at (trackIndex);
        return result.stored ? &*result.stored : nullptr;
    }

    ScratchPlanes* spectrograms (int numPlanes, std::int64_t floatsPerPlane) override
    {
        if (spectraInMemory)
            return &memoryPlanes.emplace (numPlanes, floatsPerPlane);

        const auto size = static_cast<std::uint64_t> (numPlanes) * static_cast<std::uint64_t> (floatsPerPlane)
                          * sizeof (float);

        if (auto file = make (size))
            spectrogramPlanes.emplace (std::move (file), floatsPerPlane);

        return spectrogramPlanes ? &*spectrogramPlanes : nullptr;
    }

    ComponentSink* refined (int trackIndex, const TrackFindings& findings) override
    {
        auto& result = at (trackIndex);

        if (soundingKnobs)
        {
            const auto part = partOf (trackIndex, findings);
            const auto size = MixSink::bytesFor (part, static_cast<std::int64_t> (length (trackIndex)));

            if (auto file = size > 0 ? make (size) : nullptr; file != nullptr || size == 0)
                result.mix.emplace (
                    std::move (file), part, tracks[static_cast<std::size_t> (trackIndex)].source);

            return result.mix ? &*result.mix : nullptr;
        }

        return makeComponents (trackIndex);
    }

    bool component (int trackIndex, int slot, std::int64_t start, std::span<const float> samples) override
    {
        auto& result = at (trackIndex);

        {
            const std::lock_guard lock (componentLock);

            if (result.components == nullptr)
                result.components = make (bytesPerComponentSample * length (trackIndex));
        }

        return result.components != nullptr
               && writeSamples (*result.components,
                                slot * static_cast<std::int64_t> (length (trackIndex)) + start,
                                samples);
    }

    /** Why the engine got no room, or a write failed; empty when neither happened. */
    [[nodiscard]] juce::String failure() const
    {
        if (creationFailure.isNotEmpty())
            return creationFailure;

        if (spectrogramPlanes && spectrogramPlanes->lastError().isNotEmpty())
            return spectrogramPlanes->lastError();

        for (const auto& result : results)
        {
            if (result.stored && result.stored->storeFile()->lastError().isNotEmpty())
                return result.stored->storeFile()->lastError();

            if (result.mix && result.mix->lastError().isNotEmpty())
                return result.mix->lastError();

            if (result.components != nullptr && result.components->lastError().isNotEmpty())
                return result.components->lastError();
        }

        return {};
    }

    [[nodiscard]] bool ranOutOfRoom() const { return creationFailure.isNotEmpty(); }

    void moveInto (Group::AnalysedTrack& track, std::size_t index, const AnalysisResult& analysis)
    {
        auto& result = results[index];
        const auto& found = analysis.tracks[index];
        const auto& state = tracks[index];
        track.components = std::move (result.components);

        if (result.mix)
            track.rendered = result.mix->channels();
        else if (result.stored)
            track.rendered = result.stored->withSource (state.source);
        else if (found.rendered)
            track.rendered = std::make_shared<FactoredSamples> (
                analysis.factors,
                ComponentReader::Track{ found.row, state.drumType(), state.lengthInSamples(), found.slots },
                found.level,
                partOf (static_cast<int> (index), found.findings),
                state.source);
    }

private:
    struct TrackResult
    {
        std::optional<StoreComponents> stored; // the five best
        std::optional<MixSink> mix;            // of a refined track, for known knobs
        std::shared_ptr<StoreFile> components; // all ten
    };

    [[nodiscard]] TrackResult& at (int trackIndex) { return results[static_cast<std::size_t> (trackIndex)]; }

    [[nodiscard]] std::uint64_t length (int trackIndex) const
    {
        return lengthOf (tracks[static_cast<std::size_t> (trackIndex)]);
    }

    std::shared_ptr<StoreFile> make (std::uint64_t size)
    {
        std::shared_ptr<StoreFile> file;

        if (const auto made = store.createFile (size, file); made.failed())
            creationFailure = made.getErrorMessage();

        return file;
    }

    [[nodiscard]] std::uint64_t componentBytes (int trackIndex) const
    {
        return ComponentFile::sizeFor (static_cast<std::int64_t> (length (trackIndex)));
    }

    ComponentSink* makeComponents (int trackIndex)
    {
        auto& stored = at (trackIndex).stored;

        if (auto file = make (componentBytes (trackIndex)))
            stored.emplace (std::move (file));

        return stored ? &*stored : nullptr;
    }

    [[nodiscard]] SoundingPart partOf (int trackIndex, const TrackFindings& findings) const
    {
        return SoundingPart (soundingKnobs (static_cast<std::size_t> (trackIndex), findings));
    }

    TemporaryStore& store;
    std::span<const TrackState> tracks;
    const KnobsOf& soundingKnobs; // empty: all channels are wanted
    const bool spectraInMemory;
    std::vector<TrackResult> results;
    std::optional<StorePlanes> spectrogramPlanes;
    std::optional<MemoryPlanes> memoryPlanes; // in their place
    std::mutex componentLock;                 // guards the making of components
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
        case AnalysisStatus::storageFailed: // also when a source fails while signals are made of it
            if (storage.failure().isNotEmpty())
                return failed (storage.failure());

            for (const auto& source : sources)
                if (source.lastError().isNotEmpty())
                    return failed (source.lastError());

            return failed ("a track's audio can't be read");
        case AnalysisStatus::numericalFailure:
            return failed ("a component holds nothing but values that are no numbers");
        case AnalysisStatus::stopped:
            return Outcome::stopped();
        case AnalysisStatus::completed:
            break;
    }

    return Outcome::ok();
}

/** The drums that the tracks sound like of which neither name nor user told the type. */
std::vector<std::optional<DrumType>> untoldDrums (const GroupState& state,
                                                  std::vector<TrackSource>& sources,
                                                  int numThreads,
                                                  const WorkControl& control)
{
    std::vector<HeardTrack> heard;
    std::vector<std::size_t> places;

    for (std::size_t i = 0; i < state.tracks.size(); ++i)
        if (const auto& track = state.tracks[i]; ! track.excluded)
        {
            heard.push_back ({ &sources[i], track.drumType(), track.typeUnknown });
            places.push_back (i);
        }

    std::vector<std::optional<DrumType>> drums (state.tracks.size());

    WorkerPool pool (numThreads);

    if (const auto sounds = hearDrums (heard, state.sampleRate(), pool, control))
    {
        const auto recognized = recognizeDrums (heard, *sounds);

        for (std::size_t i = 0; i < places.size(); ++i)
            drums[places[i]] = recognized[i];
    }

    return drums;
}

/** What the user should know before trusting the result. */
std::vector<AnalysisRemark>
remarksOn (const GroupState& state, AnalysisMethod method, const AnalysisResult& analysis)
{
    std::vector<AnalysisRemark> remarks;
    double seconds = 0.0;

    for (const auto& track : state.tracks)
        if (! track.excluded)
            seconds = std::max (seconds, static_cast<double> (track.lengthInSamples()) / track.sampleRate());

    if (! GroupContents::of (state).hasSeveralMicrophones())
    {
        const juce::String alone ("There is only one microphone, and the refined method compares microphones "
                                  "with each other. ");

        if (method == AnalysisMethod::refined)
            remarks.push_back ({ AnalysisRemark::onlyOneMicrophone,
                                 "one microphone: left as it is",
                                 alone + "It leaves the track as it is; the standard method may do more." });
        else if (state.method == AnalysisMethod::refined)
            remarks.push_back ({ AnalysisRemark::onlyOneMicrophone,
                                 "one microphone: standard method",
                                 alone + "The standard method was used instead." });
    }

    if (analysis.startedAtRandom)
        remarks.push_back (
            { AnalysisRemark::startedAtRandom,
              "random start",
              "The start that the refined method takes from the tracks came to nothing, as it may with "
              "very short ones. It began at random, as the standard method does: listen to the result." });

    if (seconds < shortPieceSeconds)
        remarks.push_back (
            { AnalysisRemark::shortPiece,
              "short piece: less sure",
              "The piece lasts only " + juce::String (std::floor (seconds * 10.0) / 10.0, 1)
                  + " s. Each drum is learned from its own hits, and under "
                  + juce::String (juce::roundToInt (shortPieceSeconds))
                  + " s there may be too few of them: what is removed and suggested is less sure. Listen "
                    "before you export, and analyze a longer stretch if you have one." });

    return remarks;
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

std::optional<SpectraPlace> parseSpectraPlace (const juce::String& text)
{
    for (const auto& [word, place] : { std::pair{ "auto", SpectraPlace::automatic },
                                       std::pair{ "memory", SpectraPlace::memory },
                                       std::pair{ "disk", SpectraPlace::disk } })
        if (text == word)
            return place;

    return std::nullopt;
}

Outcome WorkForecast::check() const
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

juce::String describeForecastSeconds (double seconds)
{
    constexpr double leastSeconds = 0.95, mostSeconds = 90.0;

    if (seconds < leastSeconds)
        return "under 1 s";

    // Two digits are more than it knows.
    return "about "
           + (seconds > mostSeconds ? juce::String (juce::roundToInt (seconds / 60.0)) + " min"
                                    : juce::String (juce::roundToInt (seconds)) + " s");
}

double forecastSeconds (const GroupState& group, const AnalysisOptions& options)
{
    const auto shape = AnalysisShape::forTracks (shapesOf (group));
    return shape ? forecastSeconds (*shape, options.method, options.numThreads) : 0.0;
}

WorkForecast forecastWork (const GroupState& group,
                           const AnalysisOptions& options,
                           const juce::File& temporaryFolder,
                           const AnalysisKeeping& keeping)
{
    constexpr auto unknown = std::numeric_limits<std::uint64_t>::max();
    WorkForecast forecast;
    forecast.memoryFree = freeMemory().value_or (unknown);
    forecast.diskFree = freeBytesOf (temporaryFolder).value_or (unknown);

    const auto shape = AnalysisShape::forTracks (shapesOf (group));

    if (! shape)
        return forecast;

    const auto engine = forecastAnalysis (*shape, options);
    forecast.memoryNeeded = engine.memoryBytes;
    forecast.spectraInMemory = engine.scratchBytes > 0
                               && (keeping.spectra == SpectraPlace::memory
                                   || (keeping.spectra == SpectraPlace::automatic
                                       && MemoryPlanes::areWorth (engine.scratchBytes, forecast.memoryFree)));
    forecast.seconds = forecastSeconds (*shape, options.method, options.numThreads);
    (forecast.spectraInMemory ? forecast.memoryNeeded : forecast.diskNeeded) += engine.scratchBytes;

    const auto isForKnobs = static_cast<bool> (keeping.soundingKnobs);
    const auto isRefined = options.method == AnalysisMethod::refined;

    for (const auto& track : group.tracks)
    {
        const auto length = lengthOf (track);

        if (track.takesPart())
        {
            if (! isForKnobs)
                forecast.diskNeeded += ComponentFile::sizeFor (track.lengthInSamples());
            else if (isRefined)
                forecast.diskNeeded += length * mostBytesPerMixedSample;

            if (options.keepAllComponents)
                forecast.diskNeeded += length * bytesPerComponentSample;
        }

        if (track.source == nullptr)
            forecast.diskNeeded += length * sizeof (float);
    }

    return forecast;
}

GroupAnalysis analyseGroup (const GroupState& state,
                            AnalysisOptions options,
                            TemporaryStore& store,
                            const WorkControl& control,
                            const AnalysisKeeping& keeping)
{
    GroupAnalysis result;
    options.storesComponents = ! keeping.soundingKnobs;
    const auto room = forecastWork (state, options, store.folder(), keeping);

    for (const auto& check : { checkContents (GroupContents::of (state)), checkRates (state), room.check() })
        if (! check.isOk())
        {
            result.outcome = check;
            return result;
        }

    try
    {
        StoreBackedStorage storage (store, state.tracks, keeping.soundingKnobs, room.spectraInMemory);
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

        const auto drums = untoldDrums (state, sources, std::max (1, options.numThreads), control);

        if (control.stopRequested())
        {
            result.outcome = Outcome::stopped();
            return result;
        }

        result.analysis = {
            options.method, options.seed, static_cast<int> (state.tracks.size()), analysis.bleed
        };

        for (std::size_t i = 0; i < state.tracks.size(); ++i)
        {
            Group::AnalysedTrack track;
            track.trackId = state.tracks[i].id;
            track.input = state.tracks[i].analysisInput();
            track.findings = analysis.tracks[i].findings;
            track.findings.soundsLike = drums[i];
            storage.moveInto (track, i, analysis);
            result.tracks.push_back (std::move (track));
        }

        result.remarks = remarksOn (state, options.method, analysis);
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
