#include "app/BrowserPresenter.h"

#include "app/AppSettings.h"
#include "app/TrackPresenter.h"
#include "jobs/AnalyseGroup.h"
#include "model/Abbreviations.h"
#include "model/SampleRateText.h"
#include "terms/AnalysisMethod.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{
// This bit tells rows of Groups from rows of tracks.
constexpr RowId groupRows = RowId (1) << 40;
constexpr RowId readingRows = RowId (1) << 41; // this one rows of files on their way
constexpr int miniWaveColumns = 96;
constexpr float levelFloorDb = -60.0f;
constexpr float quietestPeak = 0.001f; // -60 dB: what is softer is hiss, and stays a line

/** Height of a level bar for this mean square. */
float barFor (float power)
{
    const auto levelDb = power > 0.0f ? 10.0f * std::log10 (power) : levelFloorDb;
    return std::clamp (1.0f - levelDb / levelFloorDb, 0.0f, 1.0f);
}

TrackRowState::Mark markOf (const TrackState& track)
{
    if (track.excluded)
        return TrackRowState::Mark::excluded;
    if (! track.takesPart())
        return TrackRowState::Mark::asIs;
    return track.rendered != nullptr ? TrackRowState::Mark::analysed : TrackRowState::Mark::notAnalysed;
}

GroupRowState::Mark markOf (const Group& group)
{
    if (! group.isAnalysed())
        return GroupRowState::Mark::notAnalysed;
    return group.changedSinceLastAnalysis() ? GroupRowState::Mark::changed : GroupRowState::Mark::analysed;
}

juce::String factsOf (const Group& group)
{
    const auto dot = juce::String::fromUTF8 (" \xc2\xb7 ");
    const auto count = group.numTracks();
    juce::String facts;
    facts << count << (count == 1 ? " track" : " tracks");

    if (group.sampleRate() > 0.0)
        facts << dot << sampleRateText (group.sampleRate()) << dot
              << durationText (static_cast<double> (group.lengthInSamples()) / group.sampleRate(), false);

    return facts;
}

juce::String megabytes (std::uint64_t bytes)
{
    return juce::String (juce::roundToInt (static_cast<double> (bytes) * 1.0e-6)) + " MB";
}

/** The figure that sets a type. */
juce::String keyOf (DrumType type)
{
    const auto place = std::ranges::find (drumTypeChooserOrder, type) - drumTypeChooserOrder.begin();
    return juce::String (static_cast<int> (place) + 1);
}

juce::String counted (std::size_t count, const char* what)
{
    return juce::String (count) + " " + what + (count == 1 ? "" : "s");
}

BrowserState::Analyze analyzeOf (const Group* group, const GroupWork& work)
{
    const auto isReading = group != nullptr && work.imports().isReading (*group);

    if (isReading && work.waitsToAnalyze (*group))
        return BrowserState::Analyze::waiting;
    if (isReading)
        return BrowserState::Analyze::analyze; // when they are in
    if (group == nullptr || group->numTracks() == 0)
        return BrowserState::Analyze::unavailable;
    if (! group->isAnalysed())
        return BrowserState::Analyze::analyze;
    return group->changedSinceLastAnalysis() ? BrowserState::Analyze::again : BrowserState::Analyze::upToDate;
}
} // namespace

RowId BrowserPresenter::rowOf (const Group& group)
{
    return groupRows + static_cast<RowId> (group.id());
}

Group::Ptr BrowserPresenter::groupOf (RowId row) const
{
    for (const auto& group : workspace.allGroups())
        if (rowOf (*group) == row)
            return group;

    return nullptr;
}

std::vector<std::uint32_t> BrowserPresenter::trackIdsOf (const std::vector<RowId>& rows)
{
    std::vector<std::uint32_t> ids;

    for (const auto row : rows)
        ids.push_back (static_cast<std::uint32_t> (row));

    return ids;
}

void BrowserPresenter::toggleOpen (RowId group)
{
    const auto id = static_cast<std::uint32_t> (group - groupRows);

    if (closedGroups.erase (id) == 0)
        closedGroups.insert (id);
}

void BrowserPresenter::foldOlderGroups()
{
    const auto groups = workspace.allGroups();
    const auto selected = workspace.selectedGroup();
    const auto hasNew =
        std::any_of (groups.begin(),
                     groups.end(),
                     [this] (const Group::Ptr& group) { return seenGroups.count (group->id()) == 0; });

    for (const auto& group : groups)
    {
        // One open Group fits into the list; what the user unfolds beside it stays unfolded.
        if (hasNew && selected != nullptr && group != selected)
            closedGroups.insert (group->id());

        seenGroups.insert (group->id());
    }

    if (hasNew && selected != nullptr)
        closedGroups.erase (selected->id());
}

BrowserState BrowserPresenter::makeState()
{
    BrowserState state;
    foldOlderGroups();

    for (const auto& group : workspace.allGroups())
    {
        GroupRowState row;
        row.id = rowOf (*group);
        row.name = group->name();
        row.facts = factsOf (*group);
        row.unsaved = group->hasUnsavedChanges();
        row.open = closedGroups.count (group->id()) == 0;
        row.mark = markOf (*group);

        const auto contents = group->state();

        for (int i = 0; i < group->numTracks(); ++i)
            row.tracks.push_back (
                rowFor (contents, static_cast<std::size_t> (i), group->track (i)->isSourceFileThere()));

        for (const auto& file : work.imports().filesOf (*group))
            row.reading.push_back (
                { readingRows + file.id, file.name, file.type, file.typeUnknown, file.fraction });

        if (row.isReading())
            row.facts = (row.tracks.empty() ? juce::String() : counted (row.tracks.size(), "track") + " + ")
                        + counted (row.reading.size(), "file");

        state.groups.push_back (std::move (row));
    }

    const auto selected = workspace.selectedGroup();
    state.analyze = analyzeOf (selected.get(), work);
    state.method = selected != nullptr ? selected->method() : defaultMethod (workspace.settings());
    state.canExport = selected != nullptr && selected->isAnalysed();

    if (selected != nullptr)
    {
        state.undoName = selected->undo().undoName();
        state.redoName = selected->undo().redoName();
    }

    if (selected != nullptr && selected->numTracks() > 0)
    {
        const auto group = selected->state();
        const auto timeOf = [&] (AnalysisMethod method)
        {
            const auto seconds = forecastSeconds (group, analysisOptions (method, workspace.settings()));
            return seconds > 0.0 ? describeForecastSeconds (seconds) : juce::String();
        };
        state.standardTime = timeOf (AnalysisMethod::standard);
        state.refinedTime = timeOf (AnalysisMethod::refined);
    }

    return state;
}

std::vector<ReadFraction> BrowserPresenter::readFractions() const
{
    std::vector<ReadFraction> fractions;

    for (const auto& group : workspace.allGroups())
        for (const auto& file : work.imports().filesOf (*group))
            fractions.push_back ({ readingRows + file.id, file.fraction });

    return fractions;
}

juce::String BrowserPresenter::readingHeadline() const
{
    const auto group = workspace.selectedGroup();
    const auto files =
        group != nullptr ? work.imports().filesOf (*group) : std::vector<BackgroundImport::File>();

    if (files.empty())
        return {};

    const auto isTheirTurn =
        std::ranges::any_of (files, [] (const BackgroundImport::File& file) { return file.fraction > 0.0f; });
    return isTheirTurn
               ? "Reading " + counted (files.size(), "file")
               : counted (files.size(), "file") + (files.size() == 1 ? " waits" : " wait") + " to be read";
}

juce::String BrowserPresenter::describeType (std::uint32_t trackId) const
{
    Track::Ptr track;

    for (const auto& group : workspace.allGroups())
        if (const auto found = group->findTrack (trackId))
            track = found;

    if (track == nullptr)
        return {};

    if (const auto offered = track->state().offeredType())
        return "The name tells no drum type, but the track sounds like "
               + juce::String (drumTypeNoun (*offered)) + ": press " + keyOf (*offered) + " to set it, "
               + keyOf (DrumType::other) + " if it is no drum";

    if (track->state().typeUnknown)
        return "The name tells no drum type, and the track passes through as it is. Choose one here, or "
               "press 1 "
               "to 7";

    const auto& file = track->state().sourceInfo.file;
    const auto guess =
        classifyTrackFile (file != juce::File() ? file.getFullPathName() : track->state().name);
    return guess.matched && guess.drumType == track->drumType() && guess.abbreviation.isNotEmpty()
               ? "The name tells the drum type: matched '" + guess.abbreviation + "'"
               : juce::String ("Drum type");
}

juce::String BrowserPresenter::describeMethod (AnalysisMethod method) const
{
    juce::String text (method == AnalysisMethod::refined
                           ? "Removes much more, and suggests a Focus for each track."
                           : "Keeps what matches the drum best. Quick.");
    const auto group = workspace.selectedGroup();

    if (group == nullptr || group->numTracks() == 0)
        return text;

    const auto state = group->state();
    const auto forecast = forecastWork (
        state, analysisOptions (method, workspace.settings()), workspace.temporaryFolder().folder);

    if (forecast.seconds > 0.0)
        text << "\nTakes " << describeForecastSeconds (forecast.seconds) << ", "
             << megabytes (forecast.memoryNeeded) << " of memory and " << megabytes (forecast.diskNeeded)
             << " of temporary disk.";

    if (const auto room = forecast.check(); ! room.isOk())
        text << "\nThere is " << room.reason << ".";

    if (method == AnalysisMethod::refined && ! group->contents().hasSeveralMicrophones())
        text << "\nIt compares microphones: with one alone, the standard method is used.";

    return text;
}

TrackRowState BrowserPresenter::rowFor (const GroupState& group, std::size_t index, bool sourceIsThere)
{
    const auto& track = group.tracks[index];
    TrackRowState row;
    row.id = static_cast<RowId> (track.id);
    row.name = track.name;
    row.type = track.drumType();
    row.typeUnknown = track.typeUnknown;
    row.offeredType = track.offeredType();
    row.included = ! track.excluded;
    row.mark = markOf (track);
    // The track plays from its own audio; only one that has none needs its file.
    row.sourceMissing = ! sourceIsThere && track.source == nullptr;
    row.wave = miniWaveFor (track);
    row.leakage = leakageText (track);
    row.hint = findingsSentence (track, group.namesSharingDrumWith (index));

    if (track.hasProcessedOutput())
        row.focusPercent = juce::roundToInt (track.soundingKnobs().focus * 100.0f / focusMaximum);

    if (showsStrips)
    {
        const auto anySolo =
            std::ranges::any_of (group.tracks, [] (const TrackState& other) { return other.strip.solo; });
        row.strip = track.strip;
        row.isHeard = ! track.strip.mute && (track.strip.solo || ! anySolo);
    }

    if (const auto share = waveforms.readShare (track); share < 1.0)
        row.loading = static_cast<float> (share);

    return row;
}

std::shared_ptr<const MiniWave> BrowserPresenter::miniWaveFor (const TrackState& track)
{
    const auto waveform = waveforms.find (track);

    if (waveform == nullptr)
        return nullptr;

    auto& cached = waves[track.contentId];
    const auto ready = waveform->source->readySamples();
    const auto knobs = track.record.knobs (track.record.selected());

    if (cached.wave != nullptr && cached.readySamples == ready && cached.knobs == knobs)
        return cached.wave;

    const auto length = static_cast<double> (std::max<std::int64_t> (1, waveform->source->lengthInSamples()));
    const auto numReady =
        static_cast<std::size_t> (std::ceil (miniWaveColumns * static_cast<double> (ready) / length));
    std::vector<EnvelopeColumn> columns (miniWaveColumns);
    auto wave = std::make_shared<MiniWave>();
    wave->numColumns = miniWaveColumns;
    const auto addPeaks = [&] (std::vector<float>& dest)
    {
        for (std::size_t i = 0; i < std::min (numReady, columns.size()); ++i)
            dest.push_back (std::min (1.0f, columns[i].peak()));
    };
    waveform->source->query (0.0, length, columns);
    addPeaks (wave->source);

    if (track.hasProcessedOutput() && waveform->energies != nullptr)
    {
        waveform->energies->estimate (*waveform->source, soundingWeights (track), 0.0, length, columns);
        addPeaks (wave->kept);
    }

    // Each fills its row, however softly its microphone was recorded; what is kept stays in proportion.
    const auto loudest =
        wave->source.empty() ? 0.0f : *std::max_element (wave->source.begin(), wave->source.end());

    if (loudest > quietestPeak)
        for (auto* peaks : { &wave->source, &wave->kept })
            for (auto& peak : *peaks)
                peak = std::min (1.0f, peak / loudest);

    cached = { wave, knobs, ready };
    return wave;
}

std::vector<BrowserList::Level> BrowserPresenter::levelsAt (double seconds) const
{
    std::vector<BrowserList::Level> levels;
    const auto group = workspace.selectedGroup();

    if (group == nullptr)
        return levels;

    for (const auto& track : group->state().tracks)
    {
        const auto waveform = waveforms.find (track);

        if (waveform == nullptr)
            continue;

        const auto frame = static_cast<std::int64_t> (seconds * track.sampleRate());
        BrowserList::Level level;
        level.track = static_cast<RowId> (track.id);

        if (waveform->energies != nullptr && track.hasProcessedOutput())
        {
            level.source = barFor (waveform->energies->power (frame, channelLayout::source));
            level.kept = barFor (waveform->energies->processedPower (frame, soundingWeights (track)));
        }
        else
        {
            const auto peak = waveform->source->range (frame, frame + ChannelEnergyPyramid::baseBlock).peak();
            level.source = level.kept = barFor (0.25f * peak * peak);
        }

        levels.push_back (level);
    }

    return levels;
}

} // namespace tessivar
