#include "model/GroupEdit.h"

#include <utility>

namespace tessivar
{

EditableTrack::EditableTrack (const Track::Ptr& trackToRead, const TrackState& state)
    : track (trackToRead), name (state.name), drumType (state.drumType()), excluded (state.excluded),
      a (state.record.knobs (KnobSetting::a)), b (state.record.knobs (KnobSetting::b)),
      knobsTouched (state.knobsTouched), selected (state.record.selected()), sourceFile (state.sourceFile)
{
}

GroupEdit::GroupEdit (Group& groupToEdit, Group::Editable stateBefore, Group::Editable stateAfter)
    : group (groupToEdit), before (std::move (stateBefore)), after (std::move (stateAfter))
{
}

bool GroupEdit::perform()
{
    group.apply (after);
    return true;
}

bool GroupEdit::undo()
{
    group.apply (before);
    return true;
}

int GroupEdit::getSizeInUnits()
{
    return 1 + static_cast<int> (before.tracks.size() + after.tracks.size());
}

juce::UndoableAction* GroupEdit::createCoalescedAction (juce::UndoableAction* nextAction)
{
    if (const auto* next = dynamic_cast<GroupEdit*> (nextAction))
        return new GroupEdit (group, before, next->after);

    return nullptr;
}

} // namespace tessivar
