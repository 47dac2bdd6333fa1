#include "model/Group.h"

#include "model/GroupEdit.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace tessivar
{

namespace
{
std::atomic<std::uint32_t> lastGroupId{ 0 }, lastTrackNumber{ 0 }; // of this process

bool contains (const std::vector<std::uint32_t>& ids, std::uint32_t id)
{
    return std::find (ids.begin(), ids.end(), id) != ids.end();
}

/** "Focus": what a step that turns these knobs is called. */
const char* nameOfTurned (bool focus, bool fine)
{
    return focus && fine ? "Focus and Fine" : fine ? "Fine" : "Focus";
}

std::vector<Track::Ptr> makeTracks (std::vector<TrackState> states)
{
    std::vector<Track::Ptr> tracks;

    for (auto& state : states)
        tracks.push_back (new Track (std::move (state)));

    return tracks;
}
} // namespace

Track::Track (TrackState initialState) : data (std::move (initialState))
{
    data.id = ++lastTrackNumber;
    samplesChanged();
    lookForSourceFile();
}

void Track::samplesChanged()
{
    data.contentId = ++lastTrackNumber;
}

bool Track::lookForSourceFile()
{
    const auto before = std::exchange (sourceFileThere, data.sourceInfo.file.existsAsFile());
    return before != sourceFileThere;
}

Group::Group (const juce::String& name, std::vector<TrackState> tracks)
    : groupId (++lastGroupId), groupName (name), members (makeTracks (std::move (tracks)))
{
}

Group::Group (GroupState loadedState, const juce::File& file, std::shared_ptr<GroupFile> openFile)
    : groupId (++lastGroupId), groupName (loadedState.name), chosenMethod (loadedState.method),
      members (makeTracks (std::move (loadedState.tracks))), lastAnalysis (loadedState.analysis),
      unknownProperties (std::move (loadedState.unknownProperties)), foreignText (loadedState.foreignText),
      groupFile (file), fileHandle (std::move (openFile)),
      savedEditable (std::make_unique<Editable> (editable()))
{
}

Group::~Group() = default;

Track::Ptr Group::track (int index) const
{
    return juce::isPositiveAndBelow (index, numTracks()) ? members[static_cast<std::size_t> (index)]
                                                         : nullptr;
}

Track::Ptr Group::findTrack (std::uint32_t trackId) const
{
    for (const auto& member : members)
        if (member->id() == trackId)
            return member;

    return nullptr;
}

int Group::indexOf (const Track& track) const
{
    for (int i = 0; i < numTracks(); ++i)
        if (members[static_cast<std::size_t> (i)].get() == &track)
            return i;

    return -1;
}

std::int64_t Group::lengthInSamples() const
{
    std::int64_t length = 0;

    for (const auto& member : members)
        length = std::max (length, member->lengthInSamples());

    return length;
}

GroupState Group::state() const
{
    GroupState result;
    result.name = groupName;
    result.method = chosenMethod;
    result.analysis = lastAnalysis;
    result.unknownProperties = unknownProperties;
    result.foreignText = foreignText;

    for (const auto& member : members)
        result.tracks.push_back (member->state());

    return result;
}

Group::Editable Group::editable() const
{
    Editable result{ groupName, chosenMethod, {} };

    for (const auto& member : members)
        result.tracks.emplace_back (member);

    return result;
}

void Group::apply (const Editable& wanted)
{
    groupName = wanted.name;
    chosenMethod = wanted.method;
    members.clear();

    for (const auto& entry : wanted.tracks)
    {
        members.push_back (entry.track);
        auto& data = entry.track->data;

        if (EditableTrack (entry.track) == entry)
            continue;

        data.name = entry.name;
        data.typeUnknown = entry.typeUnknown;
        data.excluded = entry.excluded;
        data.sourceInfo.file = entry.sourceFile;

        // What an analysis suggested since the step is no part of it: untouched knobs stay where they are.
        const auto leavesKnobs = ! data.knobsTouched && ! entry.knobsTouched;
        data.knobsTouched = entry.knobsTouched;

        // Only what differs is written: codes and values that this program can't read outlast other edits.
        if (data.drumType() != entry.drumType)
            data.record.setDrumType (entry.drumType);

        for (const auto& [setting, values] :
             { std::pair{ KnobSetting::a, entry.a }, std::pair{ KnobSetting::b, entry.b } })
            if (! leavesKnobs && data.record.knobs (setting) != values)
                data.record.setKnobs (setting, values);

        data.record.select (entry.selected);
        entry.track->lookForSourceFile();
        entry.track->sendChangeMessage();
    }

    noteChange();
}

void Group::change (const Editable& from, const Editable& to)
{
    auto wanted = editable();
    wanted.change (from, to);
    apply (wanted);
}

void Group::perform (const juce::String& stepName, const Editable& after, bool continuesStep)
{
    auto before = editable();

    if (after == before)
        return;

    apply (after);

    if (continuesStep && history.lastStepIsOpen && history.undoName() == stepName)
        history.done.back()->changes.front().after = after;
    else
        history.add (std::make_shared<GroupStep> (
            GroupStep{ stepName, { { juce::WeakReference<Group> (this), std::move (before), after } } }));
}

void Group::editTracks (const juce::String& stepName,
                        const std::vector<std::uint32_t>& trackIds,
                        const std::function<void (EditableTrack&)>& change,
                        bool continuesStep)
{
    auto wanted = editable();

    for (auto& entry : wanted.tracks)
        if (contains (trackIds, entry.track->id()))
            change (entry);

    perform (stepName, wanted, continuesStep);
}

void Group::noteChange()
{
    ++changeCount;
    sendChangeMessage();
}

void Group::rename (const juce::String& newName)
{
    auto wanted = editable();
    wanted.name = newName;
    perform ("Rename Group", wanted);
}

void Group::setMethod (AnalysisMethod method)
{
    auto wanted = editable();
    wanted.method = method;
    perform ("Change Method", wanted);
}

void Group::addTracks (std::vector<TrackState> tracks, int index)
{
    auto wanted = editable();
    const auto at = juce::isPositiveAndBelow (index, numTracks()) ? index : numTracks();
    auto added = makeTracks (std::move (tracks));

    for (std::size_t i = 0; i < added.size(); ++i)
    {
        jassert (members.empty() || added[i]->sampleRate() == sampleRate());
        wanted.tracks.insert (wanted.tracks.begin() + at + static_cast<int> (i), EditableTrack (added[i]));
    }

    perform (added.size() == 1 ? "Add Track" : "Add Tracks", wanted);
}

void Group::removeTracks (const std::vector<std::uint32_t>& trackIds)
{
    auto wanted = editable();
    std::erase_if (wanted.tracks,
                   [&] (const EditableTrack& entry) { return contains (trackIds, entry.track->id()); });
    perform (trackIds.size() == 1 ? "Remove Track" : "Remove Tracks", wanted);
}

void Group::moveTracks (const std::vector<std::uint32_t>& trackIds, Group& target, int index)
{
    auto left = editable();
    auto arrived = target.editable();
    std::vector<EditableTrack> moved;
    auto at = juce::isPositiveAndBelow (index, target.numTracks()) ? index : target.numTracks();

    for (const auto id : trackIds)
        if (const auto track = findTrack (id))
            moved.emplace_back (track);

    if (moved.empty())
        return;

    const juce::String stepName (moved.size() == 1 ? "Move Track" : "Move Tracks");
    std::erase_if (left.tracks,
                   [&] (const EditableTrack& entry) { return contains (trackIds, entry.track->id()); });

    if (&target == this)
    {
        const auto place = at;

        for (int i = 0; i < place; ++i)
            at -= contains (trackIds, track (i)->id()) ? 1 : 0;

        left.tracks.insert (left.tracks.begin() + at, moved.begin(), moved.end());
        perform (stepName, left);
        return;
    }

    jassert (target.members.empty() || target.sampleRate() == sampleRate());

    for (auto& entry : moved)
    {
        auto state = entry.track->state();
        state.analysedAs.reset(); // that was with other tracks
        state.findings.bleedPlace.reset();
        entry = EditableTrack (new Track (std::move (state)));
    }

    arrived.tracks.insert (arrived.tracks.begin() + at, moved.begin(), moved.end());
    const auto step = std::make_shared<GroupStep> (
        GroupStep{ stepName,
                   { { juce::WeakReference<Group> (this), editable(), left },
                     { juce::WeakReference<Group> (&target), target.editable(), arrived } } });
    apply (left);
    target.apply (arrived);
    history.add (step);
    target.history.add (step);
}

void Group::duplicateTrack (std::uint32_t trackId)
{
    const auto original = findTrack (trackId);

    if (original == nullptr)
        return;

    auto copy = original->state();
    copy.name << " copy";

    // The last analysis knew one track here, not two.
    copy.analysedAs.reset();
    auto wanted = editable();
    wanted.tracks.insert (wanted.tracks.begin() + indexOf (*original) + 1,
                          EditableTrack (new Track (std::move (copy))));
    perform ("Duplicate Track", wanted);
}

void Group::renameTrack (std::uint32_t trackId, const juce::String& newName)
{
    editTracks ("Rename Track", { trackId }, [&] (EditableTrack& entry) { entry.name = newName; });
}

void Group::setDrumType (const std::vector<std::uint32_t>& trackIds,
                         DrumType type,
                         const std::optional<TrackKnobs>& forUntouched)
{
    editTracks ("Change Drum Type",
                trackIds,
                [&] (EditableTrack& entry)
                {
                    if (forUntouched && ! entry.knobsTouched && entry.drumType != type)
                        entry.take (*forUntouched);

                    entry.drumType = type;
                    entry.typeUnknown = false;
                });
}

void Group::setExcluded (const std::vector<std::uint32_t>& trackIds, bool excluded)
{
    editTracks (excluded ? "Exclude from Analysis" : "Include in Analysis",
                trackIds,
                [&] (EditableTrack& entry) { entry.excluded = excluded; });
}

void Group::setSourceFile (std::uint32_t trackId, const juce::File& file)
{
    editTracks ("Locate Source File", { trackId }, [&] (EditableTrack& entry) { entry.sourceFile = file; });
}

void Group::setKnobs (const std::vector<std::uint32_t>& trackIds,
                      KnobSetting setting,
                      KnobValues values,
                      bool continuesStep)
{
    bool turnsFocus = false, turnsFine = false;
    juce::String what;

    for (const auto& member : members)
        if (contains (trackIds, member->id()))
        {
            const auto before = member->knobs (setting);
            turnsFocus = turnsFocus || values.focus != before.focus;
            turnsFine = turnsFine || values.fine != before.fine;
            what = trackIds.size() == 1 ? member->name()
                                        : juce::String (static_cast<int> (trackIds.size())) + " Tracks";
        }

    editTracks (
        juce::String (nameOfTurned (turnsFocus, turnsFine)) + " of " + what,
        trackIds,
        [&, stored = values.sanitised()] (EditableTrack& entry)
        {
            (setting == KnobSetting::a ? entry.a : entry.b) = stored;
            entry.knobsTouched = true;
        },
        continuesStep);
}

void Group::giveKnobs (const std::vector<std::uint32_t>& trackIds,
                       const TrackKnobs& knobs,
                       const juce::String& stepName)
{
    editTracks (stepName,
                trackIds,
                [&] (EditableTrack& entry)
                {
                    if (isRenderedType (entry.drumType))
                        entry.take (knobs);
                });
}

void Group::resetKnobs (const std::vector<std::uint32_t>& trackIds, KnobSetting setting)
{
    editTracks ("Reset Setting " + juce::String (setting == KnobSetting::a ? "A" : "B"),
                trackIds,
                [&] (EditableTrack& entry)
                {
                    auto values = startKnobsA;

                    if (const auto suggested = entry.track->state().findings.suggestedFocus)
                        values.focus = static_cast<float> (*suggested);

                    (setting == KnobSetting::a ? entry.a : entry.b) = values.sanitised();
                    entry.knobsTouched = setting == KnobSetting::b || entry.b != startKnobsB;
                });
}

void Group::copyKnobs (const std::vector<std::uint32_t>& trackIds, KnobSetting from)
{
    editTracks (from == KnobSetting::a ? "Copy A to B" : "Copy B to A",
                trackIds,
                [&] (EditableTrack& entry)
                {
                    entry.knobsTouched = entry.knobsTouched || entry.a != entry.b;
                    const auto values = from == KnobSetting::a ? entry.a : entry.b;
                    entry.a = entry.b = values;
                });
}

void Group::selectSetting (const std::vector<std::uint32_t>& trackIds, KnobSetting setting)
{
    editTracks (setting == KnobSetting::a ? "Switch to A" : "Switch to B",
                trackIds,
                [&] (EditableTrack& entry) { entry.selected = setting; });
}

void Group::setStrip (std::uint32_t trackId, const MixStrip& strip)
{
    const auto track = findTrack (trackId);

    if (track == nullptr || track->data.strip == strip.sanitised())
        return;

    track->data.strip = strip.sanitised();
    stripsUnsaved = true;
    noteChange();
}

void Group::AnalysedTrack::applyTo (TrackState& track) const
{
    track.analysedAs = input;
    track.rendered = rendered;
    track.components = components;
    track.findings = findings;
    track.record.setProcessed (rendered != nullptr);

    if (findings.suggestedFocus && ! track.knobsTouched)
        track.record.setKnobs (KnobSetting::a,
                               { static_cast<float> (*findings.suggestedFocus), startKnobsA.fine });
}

void Group::applyAnalysis (const GroupState::Analysis& analysis, const std::vector<AnalysedTrack>& tracks)
{
    lastAnalysis = analysis;
    ++analysisCount;

    for (const auto& result : tracks)
    {
        if (const auto track = findTrack (result.trackId))
        {
            result.applyTo (track->data);
            track->samplesChanged();
            track->sendChangeMessage();
        }
    }

    noteChange();
}

void Group::markSaved (const GroupState& savedState,
                       const juce::File& savedFile,
                       std::shared_ptr<GroupFile> openFile)
{
    // What was edited while the save ran is not in the file, and stays an unsaved change.
    Editable saved{ savedState.name, savedState.method, {} };

    for (const auto& savedTrack : savedState.tracks)
    {
        const auto track = findTrack (savedTrack.id);

        if (track == nullptr)
            continue;

        track->data.source = savedTrack.source;
        track->data.rendered = savedTrack.rendered;
        saved.tracks.emplace_back (track, savedTrack);
    }

    stripsUnsaved =
        std::ranges::any_of (savedState.tracks,
                             [this] (const TrackState& savedTrack)
                             {
                                 const auto track = findTrack (savedTrack.id);
                                 return track != nullptr && track->state().strip != savedTrack.strip;
                             });
    groupFile = savedFile;
    fileHandle = std::move (openFile);
    savedEditable = std::make_unique<Editable> (std::move (saved));
    savedAnalysisCount = analysisCount;
    sendChangeMessage();
}

bool Group::hasUnsavedChanges() const
{
    return savedEditable == nullptr || savedAnalysisCount != analysisCount || *savedEditable != editable();
}

void Group::markUnsaved()
{
    savedEditable.reset();
    noteChange();
}

void Group::update()
{
    auto anyChanged = false;

    for (const auto& member : members)
    {
        if (! member->lookForSourceFile())
            continue;

        anyChanged = true;
        member->sendChangeMessage();
    }

    if (anyChanged)
        sendChangeMessage();
}

} // namespace tessivar
