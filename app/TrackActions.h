#pragma once

#include "jobs/UserPrompts.h"
#include "model/TessivarWorkspace.h"
#include "model/TrackKnobs.h"
#include "model/settings/SettingsStore.h"

#include <functional>
#include <optional>
#include <vector>

namespace tessivar
{

[[nodiscard]] TrackKnobs knobsOf (const Track& track);

/** What the user does with the tracks of the open Groups: select them, turn their knobs, change, move and
    remove them. Knows no window: what has to be asked goes through UserPrompts, and whoever shows the tracks
    listens to the workspace. Every function does nothing where there is nothing to do it with. Message
    thread.
*/
class TrackActions
{
public:
    using TrackIds = std::vector<std::uint32_t>;

    TrackActions (TessivarWorkspace& workspaceToUse, UserPrompts& promptsToUse)
        : workspace (workspaceToUse), prompts (promptsToUse)
    {
    }

    // The selection: a Group, one track of it that is shown and heard, and the tracks that edits apply to.

    [[nodiscard]] Group::Ptr group() const { return workspace.selectedGroup(); }
    [[nodiscard]] Track::Ptr track() const;
    [[nodiscard]] std::uint32_t trackId() const { return selectedId; } // 0: none

    /** The selected track, or all of several that were selected together. */
    [[nodiscard]] TrackIds chosen() const;

    /** A lead of 0 leaves the track as it is. */
    void select (const Group::Ptr& group, std::uint32_t lead, TrackIds together);
    void selectTrack (std::uint32_t trackId);
    void chooseAll(); // of the Group
    void stepTrack (int step);
    void stepGroup (int step);

    /** To be called when Groups or tracks may have gone: another track is selected then. */
    void keepSelectionValid();

    [[nodiscard]] SettingsStore& settings() { return workspace.settings(); }

    // Knobs of the selected track, unless others are named.

    /** The values of a drag, or of keys in a row, are one step of undo, up to the next startKnobGesture(). */
    void turnKnobs (std::optional<float> focus, std::optional<float> fine);
    void startKnobGesture() { continuesGesture = false; }

    /** By a fraction of the knob's range. */
    void nudgeFocus (float fraction);
    void nudgeFine (float fraction);
    void chooseSetting (KnobSetting setting, bool ofWholeGroup);
    void toggleSetting (bool ofWholeGroup);
    void copySoundingSetting();
    void resetKnobs();
    void copyKnobs (KnobSetting from); // of all chosen tracks

    /** Both settings, and which of them sounds, in one step of undo. */
    void applyToType (const Track& model);

    /** The same, in a step of this name. */
    void giveKnobs (const TrackIds& ids, const TrackKnobs& knobs, const juce::String& stepName);

    /** Told at once, before the workspace's listeners are, when what a track sounds like has changed by its
        knobs or in the kit.
    */
    std::function<void()> onKnobsChanged;

    // The tracks themselves.

    /** With the preset of the type for those whose knobs are untouched, where the user wants that. */
    void setDrumType (const TrackIds& ids, DrumType type);

    /** A type was given to tracks whose names told none; these others have names like theirs. */
    std::function<void (const Group::Ptr&, const TrackIds&, DrumType)> onMoreLikeIt;
    void setExcluded (const TrackIds& ids, bool excluded);

    /** How they are heard in the kit; no steps of undo. */
    void setSolo (const TrackIds& ids, bool solo);
    void setMute (const TrackIds& ids, bool mute);
    void setFader (std::uint32_t trackId, float levelDb);

    /** Asks first. */
    void remove (const TrackIds& ids);

    /** To before the track with this index of the target, as counted before the move, in one step of undo. */
    void move (const TrackIds& ids, Group& target, int index);
    void moveByStep (int step);  // the chosen tracks, a place up or down
    void moveToGroup (int step); // the chosen tracks, to the end of the Group before or after theirs

    void undo();
    void redo();

private:
    [[nodiscard]] Group::Ptr groupOf (std::uint32_t trackId) const;
    void tellOfKnobs() const;
    void changeStrips (const TrackIds& ids, const std::function<void (MixStrip&)>& change);

    TessivarWorkspace& workspace;
    UserPrompts& prompts;
    std::uint32_t selectedId = 0;
    TrackIds selectedTogether;
    bool continuesGesture = false;
};

} // namespace tessivar
