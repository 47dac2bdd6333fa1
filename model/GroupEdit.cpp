#include "model/GroupEdit.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
const EditableTrack* find (const std::vector<EditableTrack>& tracks, const Track::Ptr& track)
{
    const auto found =
        std::ranges::find_if (tracks, [&] (const EditableTrack& entry) { return entry.track == track; });
    return found == tracks.end() ? nullptr : &*found;
}

bool haveSameTracks (const std::vector<EditableTrack>& left, const std::vector<EditableTrack>& right)
{
    return left.size() == right.size()
           && std::ranges::all_of (
               left, [&] (const EditableTrack& entry) { return find (right, entry.track) != nullptr; });
}
} // namespace

EditableTrack::EditableTrack (const Track::Ptr& trackToRead, const TrackState& state)
    : track (trackToRead), name (state.name), drumType (state.drumType()), typeUnknown (state.typeUnknown),
      excluded (state.excluded), a (state.record.knobs (KnobSetting::a)),
      b (state.record.knobs (KnobSetting::b)), knobsTouched (state.knobsTouched),
      selected (state.record.selected()), sourceFile (state.sourceInfo.file)
{
}

void EditableTrack::take (const TrackKnobs& knobs)
{
    a = knobs.a.sanitised();
    b = knobs.b.sanitised();
    selected = knobs.sounding;
    knobsTouched = true;
}

void Group::Editable::change (const Editable& from, const Editable& to)
{
    if (from.name != to.name)
        name = to.name;

    if (from.method != to.method)
        method = to.method;

    for (auto& entry : tracks)
        if (const auto* old = find (from.tracks, entry.track), *wanted = find (to.tracks, entry.track);
            old != nullptr && wanted != nullptr && *old != *wanted)
            entry = *wanted;

    std::erase_if (tracks,
                   [&] (const EditableTrack& entry)
                   { return find (from.tracks, entry.track) && ! find (to.tracks, entry.track); });

    for (std::size_t i = 0; i < to.tracks.size(); ++i)
        if (const auto& entry = to.tracks[i];
            ! find (from.tracks, entry.track) && ! find (tracks, entry.track))
            tracks.insert (tracks.begin() + static_cast<std::ptrdiff_t> (std::min (i, tracks.size())), entry);

    // Only a step that moved tracks within the Group says something about the order of the others.
    if (haveSameTracks (from.tracks, to.tracks))
        std::ranges::stable_sort (tracks,
                                  [&] (const EditableTrack& left, const EditableTrack& right)
                                  {
                                      const auto *first = find (to.tracks, left.track),
                                                 *second = find (to.tracks, right.track);
                                      return first != nullptr && (second == nullptr || first < second);
                                  });
}

void GroupStep::make (const std::shared_ptr<GroupStep>& step, bool again)
{
    for (const auto& [group, before, after] : step->changes)
        if (group != nullptr)
        {
            auto& history = group->history;
            std::erase (again ? history.undone : history.done, step);
            (again ? history.done : history.undone).push_back (step);
            history.lastStepIsOpen = false;
            group->change (again ? before : after, again ? after : before);
        }
}

juce::String GroupHistory::undoName() const
{
    return canUndo() ? done.back()->name : juce::String();
}

juce::String GroupHistory::redoName() const
{
    return canRedo() ? undone.back()->name : juce::String();
}

void GroupHistory::undo()
{
    if (canUndo())
        GroupStep::make (std::shared_ptr (done.back()), false);
}

void GroupHistory::redo()
{
    if (canRedo())
        GroupStep::make (std::shared_ptr (undone.back()), true);
}

void GroupHistory::clear()
{
    done.clear();
    undone.clear();
}

void GroupHistory::add (std::shared_ptr<GroupStep> step)
{
    done.push_back (std::move (step));
    undone.clear();
    lastStepIsOpen = true;

    if (done.size() > longest)
        done.erase (done.begin());
}

} // namespace tessivar
