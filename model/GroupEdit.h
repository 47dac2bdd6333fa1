#pragma once

#include "model/Group.h"
#include "model/TrackKnobs.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"

#include <memory>
#include <vector>

namespace tessivar
{

/** What an edit can change of a track. */
struct EditableTrack
{
    Track::Ptr track; // keeps a removed track for undo
    juce::String name;
    DrumType drumType = DrumType::other;
    bool typeUnknown = false;
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

    /** As if the user had turned them. */
    void take (const TrackKnobs& knobs);

    bool operator== (const EditableTrack&) const = default;
};

/** What an edit can change of a Group; the result of an analysis is not among it, and so no undo brings back
    old samples.
*/
struct Group::Editable
{
    juce::String name;
    AnalysisMethod method = AnalysisMethod::standard;
    std::vector<EditableTrack> tracks;

    bool operator== (const Editable&) const = default;

    /** Makes the difference between two others in this one, and leaves alone what they have in common. */
    void change (const Editable& from, const Editable& to);
};

/** A step of undo: the editable part of one Group before and after it, or of two between which tracks moved.
*/
struct GroupStep
{
    struct Change
    {
        juce::WeakReference<Group> group; // null once the Group is gone
        Group::Editable before, after;
    };

    juce::String name;
    std::vector<Change> changes;

    /** Makes a step in all its Groups: again, or back. */
    static void make (const std::shared_ptr<GroupStep>& step, bool again);
};

} // namespace tessivar
