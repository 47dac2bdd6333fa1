#pragma once

#include "model/Group.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"

#include <vector>

namespace tessivar
{

/** What an edit can change of a track. */
struct EditableTrack
{
    Track::Ptr track; // keeps a removed track for undo
    juce::String name;
    DrumType drumType = DrumType::other;
    bool excluded = false;
    KnobValues a, b;
    bool knobsTouched = false;
    KnobSetting selected = KnobSetting::a;
    juce::File sourceFile;

    /** The values of a state of the track, which need not be its present one. */
    EditableTrack (const Track::Ptr& trackToRead, const TrackState& state);

    explicit EditableTrack (const Track::Ptr& trackToRead) : EditableTrack (trackToRead, trackToRead->state())
    {
    }
    bool operator== (const EditableTrack&) const = default;
};

/** What an edit can change of a Group; the result of an analysis is not among it, and so no undo brings back old samples.
*/
struct Group::Editable
{
    juce::String name;
    AnalysisMethod method = AnalysisMethod::standard;
    std::vector<EditableTrack> tracks;

    bool operator== (const Editable&) const = default;
};

/** A step of undo: the editable part of a Group before and after. */
class GroupEdit final : public juce::UndoableAction
{
public:
    GroupEdit (Group& group, Group::Editable before, Group::Editable after);

    bool perform() override;
    bool undo() override;
    int getSizeInUnits() override;

    /** Two edits of one step, one after the other, become one. */
    juce::UndoableAction* createCoalescedAction (juce::UndoableAction* nextAction) override;

private:
    Group& group; // owns the undo manager that owns this
    const Group::Editable before, after;

    JUCE_DECLARE_NON_COPYABLE (GroupEdit)
};

} // namespace tessivar
