#pragma once

#include "model/Group.h"
#include "terms/DrumType.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <optional>
#include <span>
#include <vector>

namespace tessivar
{

class BleedController;
class BrowserController;
class DockController;
class GroupWork;
class MainComponent;
class PlaybackController;
class Player;
class TrackActions;
class WaveController;
class WindowDialogs;

/** Everything the user can have done by a menu, a key or a button of the window. */
enum class Verb
{
    // clang-format off
    newGroup, openGroups, saveGroup, saveGroupAs, saveAllGroups, closeAllGroups, closeSelectedGroup, settings,
    importTracks, importFolders, importFromGroup, analyzeGroup, analyzeGroups,
    exportTrack, exportGroup, exportAllGroups, exportReport,
    quickStartGuide, documentation, onlineHelp, about, quit, warnings, filesDropped, fullScreen,

    renameGroup, previousGroup, nextGroup, playWholeGroup, methodStandard, methodRefined,
    previousTrack, nextTrack, selectAllTracks, includeOrExclude, duplicateTrack, removeTrack, showSource,
    moveTrackUp, moveTrackDown, moveToPreviousGroup, moveToNextGroup, locateSource,
    undo, redo, contextMenu,
    drumType, // of several entries, one for each type

    toggleSetting, toggleSettingOfGroup, focusUp, focusDown, focusUpCoarse, focusDownCoarse,
    fineUp, fineDown, fineUpCoarse, fineDownCoarse, typeFocus, typeFine, resetKnobs,
    copySetting, copyAToB, copyBToA, applyToType, copySettings, pasteSettings,
    applyPreset, savePreset, presetForNewTracks, forgetPreset,
    bypass, removed, solo, mute, equalLoudness, blindTest,

    playOrStop, nudgeBack, nudgeForward, nudgeBackCoarse, nudgeForwardCoarse, toStart, toEnd,
    loop, loopIn, loopOut, nextHit, previousHit, selectNextHit, selectPreviousHit,
    follow, volumeUp, volumeDown, showOrHideKept, showOrHideRemoved, showOrHideSpectrum, bleedMap,
    zoomIn, zoomOut, zoomInVertically, zoomOutVertically, fit, zoomToSelection,
    clearSelection, clearMeter, nextArea, previousArea, browserNarrower, browserWider, menuBar,
    openMenu, // of several entries, one for each menu
    keySheet
    // clang-format on
};

/** What a verb is done to. */
struct VerbTargets
{
    MainComponent& window;
    WindowDialogs& dialogs;
    TrackActions& tracks;
    WaveController& wave;
    BleedController& bleed;
    GroupWork& work;
    Player& player;
    BrowserController& browser;
    DockController& dock;
    PlaybackController& playback;
    Track::Ptr clicked; // whose menu is open; null: the selected track

    [[nodiscard]] Group::Ptr group() const;
    [[nodiscard]] Track::Ptr track() const;
};

/** Where a verb stands on the key sheet, in the order of its sections. */
enum class VerbArea
{
    groups,
    window,
    tracks,
    playback,
    knobs,
    waveform
};

/** All there is to know about a verb. A numbered one is a command of the framework; its number, name,
    description and key are fixed.
*/
struct VerbEntry
{
    using Target = const VerbTargets&;

    Verb verb;
    const char* id = ""; // in the manual's sources
    VerbArea area = VerbArea::groups;
    juce::String name; // of a command; else as the key sheet and the menus have it
    int number = 0;
    juce::String description;
    juce::KeyPress commandKey;              // bound by the framework, also under a dialog
    std::vector<juce::KeyPress> windowKeys; // work while no text field has the focus; menus name the first
    juce::String menuText, sheetText;       // where they differ from the name
    std::optional<DrumType> type;
    std::optional<int> menu; // of the menu bar
    bool isDangerous = false;

    void (*perform) (Target) = nullptr; // null in the second entry of a pair, which only has another number
    bool (*canPerform) (Target) = nullptr;     // null: always
    bool (*isTicked) (Target) = nullptr;       // null: never
    juce::String (*object) (Target) = nullptr; // stands behind the name in a menu
};

/** Every verb, from the table in app/VerbTable.cpp; those with numbers first, in the order in which the
    framework is told of them. "Save Group" is described as "Save Track", and two commands claim one key: both
    are intended.
*/
[[nodiscard]] std::span<const VerbEntry> allVerbs();

/** The entry that says what a verb does. */
[[nodiscard]] const VerbEntry& entryOf (Verb verb);

[[nodiscard]] const VerbEntry* findCommand (int number);

/** Whether the framework may be told of a command: of all but "Close All Groups", which stands in the table
    and in the File menu's list, and is neither shown nor bound to its key.
*/
[[nodiscard]] bool isServed (const VerbEntry& command);

/** What a key does in the window; null for keys of commands and unknown ones. */
[[nodiscard]] const VerbEntry* verbForKey (const juce::KeyPress& key);

/** The key that a menu names beside a verb, which may be that of the other command of a pair; invalid when it
    has none.
*/
[[nodiscard]] juce::KeyPress shownKeyOf (Verb verb);

/** Does what an entry's verb does, where it can be done. */
void perform (const VerbEntry& entry, const VerbTargets& targets);

} // namespace tessivar
