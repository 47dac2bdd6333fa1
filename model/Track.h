#pragma once

#include "model/GroupState.h"

#include <juce_events/juce_events.h>

namespace tessivar
{

/** One audio channel of a Group. Tells its listeners of every change.

    On the message thread alone; jobs work on its state, which is a value. A Track is changed through its
    Group, which knows what a change means for the analysis, for undo and for saving.
*/
class Track : public juce::ReferenceCountedObject, public juce::ChangeBroadcaster
{
public:
    using Ptr = juce::ReferenceCountedObjectPtr<Track>;

    /** Gives the state an id of its own. */
    explicit Track (TrackState initialState);

    [[nodiscard]] std::uint32_t id() const { return data.id; }
    [[nodiscard]] const TrackState& state() const { return data; }

    [[nodiscard]] const juce::String& name() const { return data.name; }
    [[nodiscard]] DrumType drumType() const { return data.drumType(); }
    [[nodiscard]] bool isExcluded() const { return data.excluded; }
    [[nodiscard]] KnobValues knobs (KnobSetting setting) const { return data.record.knobs (setting); }
    [[nodiscard]] KnobSetting selectedSetting() const { return data.record.selected(); }
    [[nodiscard]] KnobValues soundingKnobs() const { return data.soundingKnobs(); }
    [[nodiscard]] std::int64_t lengthInSamples() const { return data.lengthInSamples(); }
    [[nodiscard]] double sampleRate() const { return data.sampleRate(); }
    [[nodiscard]] bool isProcessed() const { return data.rendered != nullptr; }

    /** Whether the file it came from is still where it was, as of the last update of its Group. */
    [[nodiscard]] bool isSourceFileThere() const { return sourceFileThere; }

private:
    friend class Group;

    void samplesChanged();

    /** Looks for the source file; true when the answer is another than before. */
    bool lookForSourceFile();

    TrackState data;
    bool sourceFileThere = true;

    JUCE_DECLARE_NON_COPYABLE (Track)
};

} // namespace tessivar
