#include "app/BleedController.h"
#include "app/BrowserController.h"
#include "app/DockController.h"
#include "app/GroupWork.h"
#include "app/KnobExchange.h"
#include "app/MainComponent.h"
#include "app/Menus.h"
#include "app/PlaybackController.h"
#include "app/Player.h"
#include "app/TrackActions.h"
#include "app/Verbs.h"
#include "app/WaveController.h"
#include "app/WindowDialogs.h"
#include "platform/Desktop.h"
#include "terms/DrumType.h"

#include <utility>

namespace tessivar
{

namespace
{
using V = Verb;
using A = VerbArea;
using T = VerbEntry::Target;

constexpr float nudge = 0.01f, coarseNudge = 0.05f;
constexpr double playheadStep = 0.1, coarsePlayheadStep = 1.0; // s
constexpr float volumeStep = 1.0f;                             // dB
constexpr int browserStep = 16;                                // logical pixels

constexpr int shift = juce::ModifierKeys::shiftModifier, alt = juce::ModifierKeys::altModifier,
              ctrl = juce::ModifierKeys::commandModifier;

juce::KeyPress key (int code, int modifiers = 0)
{
    return { code, juce::ModifierKeys (modifiers), 0 };
}

/** An entry on its way into the table. */
struct Entry : VerbEntry
{
    Entry (V verbToName, const char* idToUse, A areaToUse, const juce::String& text)
    {
        verb = verbToName;
        id = idToUse;
        area = areaToUse;
        name = text;
    }

    Entry (V verbToName,
           const char* idToUse,
           A areaToUse,
           int commandNumber,
           const char* text,
           const char* what = nullptr)
        : Entry (verbToName, idToUse, areaToUse, text)
    {
        number = commandNumber;
        description = what != nullptr ? what : text;
    }

    // clang-format off
    Entry& bound (int letter, int more = 0) { commandKey = key (letter, ctrl | more); return *this; }
    Entry& keys (std::vector<juce::KeyPress> those) { windowKeys = std::move (those); return *this; }
    Entry& inMenus (const char* text) { menuText = juce::String::fromUTF8 (text); return *this; }
    Entry& onSheet (const char* text) { sheetText = text; return *this; }
    Entry& does (void (*what) (T)) { perform = what; return *this; }
    Entry& when (bool (*condition) (T)) { canPerform = condition; return *this; }
    Entry& ticked (bool (*condition) (T)) { isTicked = condition; return *this; }
    Entry& of (juce::String (*what) (T)) { object = what; return *this; }
    Entry& dangerous() { isDangerous = true; return *this; }
};

bool hasGroup (T t) { return t.group() != nullptr; }
bool hasTrack (T t) { return t.track() != nullptr; }
bool anyGroup (T t) { return t.work.hasGroups(); }
bool playsWholeGroup (T t) { return hasTrack (t) && t.player.playsWholeGroup(); }
bool hasKnobs (T t) { return hasTrack (t) && isRenderedType (t.track()->drumType()); }
bool hasPreset (T t) { return hasTrack (t) && KnobExchange (t.tracks).hasPreset (t.track()->drumType()); }
bool isPresetForNew (T t)
{
    return hasTrack (t) && KnobExchange (t.tracks).isForNewTracks (t.track()->drumType());
}
void usePresetForNew (T t, bool use) { KnobExchange (t.tracks).setForNewTracks (t.track()->drumType(), use); }
juce::String typeName (T t) { return hasTrack (t) ? drumTypeDisplayName (t.track()->drumType()) : ""; }
template <AnalysisMethod method> bool hasMethod (T t) { return t.group()->method() == method; }
template <AnalysisMethod method> void setMethod (T t) { t.work.chooseMethod (t.group(), method); }
void postExport (T t, ExportScope scope) { t.window.postExport (scope, t.group(), t.track()); }
// clang-format on

std::vector<VerbEntry> makeVerbs()
{
    using Key = juce::KeyPress;

    std::vector<VerbEntry> entries{
        // clang-format off
        Entry (V::newGroup, "newGroup", A::groups, 16, "New Group", "Opens an empty track").bound ('n')
            .does ([] (T t) { t.work.newGroup(); }),
        Entry (V::openGroups, "openGroups", A::groups, 17, "Open Group(s)", "Opens a dls file").bound ('o')
            .does ([] (T t) { t.work.chooseAndOpen(); }),
        Entry (V::saveGroup, "saveGroup", A::groups, 18, "Save Group", "Save Track").bound ('s')
            .does ([] (T t) { t.work.save (t.group()); }).when (hasGroup),
        Entry (V::saveGroupAs, "saveGroupAs", A::groups, 19, "Save Group as...").bound ('s', shift)
            .inMenus ("Save Group as\xe2\x80\xa6").when (hasGroup)
            .does ([] (T t) { t.work.saveAs (t.group()); }),
        Entry (V::saveAllGroups, "saveAllGroups", A::groups, 20, "Save All Groups")
            .does ([] (T t) { t.work.saveAll(); }).when (anyGroup),
        Entry (V::closeAllGroups, "closeAllGroups", A::groups, 21, "Close All Groups").bound ('w')
            .does ([] (T) {}),
        Entry (V::settings, "settings", A::window, 22, "Settings")
            .does ([] (T t) { t.dialogs.openSettings (SettingsPageId::audioDevice); }),
        Entry (V::importTracks, "importTracks", A::groups, 33, "Import Track(s)")
            .does ([] (T t) { t.work.chooseAndImportTracks (t.group()); }),
        Entry (V::importFolders, "importFolders", A::groups, 34, "Import Folder(s)")
            .does ([] (T t) { t.work.chooseAndImportFolders(); }),
        Entry (V::importFromGroup, "importFromGroup", A::groups, 35, "Import Track(s) from DLS")
            .does ([] (T t) { t.work.chooseAndImportFromGroup (t.group()); }),
        Entry (V::importTracks, "importTracks", A::groups, 36, "Import Track(s)").bound ('i'),
        Entry (V::importFolders, "importFolders", A::groups, 37, "Import Folder(s)").bound ('f'),
        Entry (V::importFromGroup, "importFromGroup", A::groups, 38, "Import Track(s) from DLS").bound ('d'),
        Entry (V::analyzeGroup, "analyzeGroup", A::groups, 49, "Analyze Group").bound ('p')
            .does ([] (T t) { t.work.analyze (t.group()); }).when (hasGroup),
        Entry (V::analyzeGroups, "analyzeGroups", A::groups, 50, "Analyze Group(s)").bound ('p', shift)
            .does ([] (T t) { t.work.analyzeAll(); }).when (anyGroup),
        Entry (V::exportTrack, "exportTrack", A::groups, 65, "Export Track")
            .inMenus ("Export Track\xe2\x80\xa6").does ([] (T t) { postExport (t, ExportScope::track); }),
        Entry (V::exportGroup, "exportGroup", A::groups, 66, "Export Group")
            .inMenus ("Export Group\xe2\x80\xa6").does ([] (T t) { postExport (t, ExportScope::group); }),
        Entry (V::exportAllGroups, "exportAllGroups", A::groups, 67, "Export All Groups").bound ('x', shift)
            .does ([] (T t) { postExport (t, ExportScope::allGroups); }),
        Entry (V::exportTrack, "exportTrack", A::groups, 68, "Export Track").bound ('e'),
        Entry (V::exportGroup, "exportGroup", A::groups, 69, "Export Group").bound ('x'),
        Entry (V::exportAllGroups, "exportAllGroups", A::groups, 70, "Export All Groups").bound ('x', shift),
        Entry (V::quickStartGuide, "quickStartGuide", A::window, 81, "QuickStartGuide")
            .does ([] (T t) { t.dialogs.openDocument ("tessivarQuickStartGuide.pdf"); }),
        Entry (V::documentation, "documentation", A::window, 82, "Documentation")
            .does ([] (T t) { t.dialogs.openDocument ("tessivarManual.pdf"); }),
        Entry (V::onlineHelp, "onlineHelp", A::window, 83, "Online Help")
            .does ([] (T t) { t.dialogs.openContactPage(); }),
        Entry (V::about, "about", A::window, 84, "About Tessivar").does ([] (T t) { t.dialogs.showAbout(); }),
        Entry (V::quit, "quit", A::window, 23, "Quit").bound ('q').does ([] (T t) { t.window.onQuit(); }),
        Entry (V::playOrStop, "playOrStop", A::playback, 97, "PlayStop").keys ({ key (Key::spaceKey) })
            .onSheet ("Play or stop").does ([] (T t) { t.playback.playOrStop(); }),
        Entry (V::warnings, "warnings", A::window, 98, "Warnings")
            .does ([] (T t) { t.work.showPendingWarnings(); }),
        Entry (V::filesDropped, "filesDropped", A::window, 99, "Files dropped").does ([] (T) {}),
        Entry (V::closeSelectedGroup, "closeSelectedGroup", A::groups, 100, "Close selected Group")
            .inMenus ("Close group").does ([] (T t) { t.work.close (t.group()); }).when (hasGroup),
        Entry (V::fullScreen, "fullScreen", A::window, 101, "Toggle Fullscreen").keys ({ key (Key::F11Key) })
            .onSheet ("Full screen").does ([] (T t) { t.window.onToggleFullScreen(); }),
        Entry (V::toggleSetting, "toggleSetting", A::knobs, 102, "Toggle AB setup").keys ({ key ('A') })
            .onSheet ("A or B, of the track").does ([] (T t) { t.tracks.toggleSetting (false); }),

        Entry (V::renameGroup, "renameGroup", A::groups, "Rename").keys ({ key (Key::F2Key) })
            .onSheet ("Rename group").does ([] (T t) { t.browser.renameGroup(); }).when (hasGroup),
        Entry (V::exportReport, "exportReport", A::groups, "Export Report")
            .inMenus ("Export Report\xe2\x80\xa6").when (hasGroup)
            .does ([] (T t) { t.work.exportReport (t.group()); }),
        Entry (V::previousGroup, "previousGroup", A::groups, "Previous, next group")
            .keys ({ key (Key::pageUpKey) }).does ([] (T t) { t.browser.stepGroup (-1); }),
        Entry (V::nextGroup, "nextGroup", A::groups, "Previous, next group").keys ({ key (Key::pageDownKey) })
            .does ([] (T t) { t.browser.stepGroup (1); }),
        Entry (V::methodStandard, "methodStandard", A::groups, "Standard").when (hasGroup)
            .does (setMethod<AnalysisMethod::standard>).ticked (hasMethod<AnalysisMethod::standard>),
        Entry (V::methodRefined, "methodRefined", A::groups, "Refined, with a suggested Focus")
            .does (setMethod<AnalysisMethod::refined>).when (hasGroup)
            .ticked (hasMethod<AnalysisMethod::refined>),

        Entry (V::previousTrack, "previousTrack", A::tracks, "Previous, next track")
            .keys ({ key (Key::upKey) }).does ([] (T t) { t.tracks.stepTrack (-1); }),
        Entry (V::nextTrack, "nextTrack", A::tracks, "Previous, next track").keys ({ key (Key::downKey) })
            .does ([] (T t) { t.tracks.stepTrack (1); }),
        Entry (V::selectAllTracks, "selectAllTracks", A::tracks, "Select all tracks of the group")
            .keys ({ key ('A', ctrl) }).does ([] (T t) { t.tracks.chooseAll(); }).when (hasTrack),
        Entry (V::includeOrExclude, "includeOrExclude", A::tracks, "Include in analysis").keys ({ key ('E') })
            .does ([] (T t) { t.tracks.setExcluded (t.tracks.chosen(), ! t.track()->isExcluded()); })
            .ticked ([] (T t) { return ! t.track()->isExcluded(); }).when (hasTrack),
        Entry (V::duplicateTrack, "duplicateTrack", A::tracks, "Duplicate track")
            .does ([] (T t) { t.group()->duplicateTrack (t.track()->id()); }).when (hasTrack),
        Entry (V::removeTrack, "removeTrack", A::tracks, "Remove from group").keys ({ key (Key::deleteKey) })
            .does ([] (T t) { t.tracks.remove (t.tracks.chosen()); }).dangerous(),
        Entry (V::showSource, "showSource", A::tracks, "Show source file")
            .does ([] (T t) { showFolder (t.track()->state().sourceInfo.file.getParentDirectory()); })
            .when ([] (T t) { return hasTrack (t) && t.track()->state().sourceInfo.file.existsAsFile(); }),
        Entry (V::moveTrackUp, "moveTrackUp", A::tracks, "Move up, down").when (hasTrack)
            .keys ({ key (Key::upKey, ctrl | shift) }).does ([] (T t) { t.tracks.moveByStep (-1); }),
        Entry (V::moveTrackDown, "moveTrackDown", A::tracks, "Move up, down").when (hasTrack)
            .keys ({ key (Key::downKey, ctrl | shift) }).does ([] (T t) { t.tracks.moveByStep (1); }),
        Entry (V::moveToPreviousGroup, "moveToPreviousGroup", A::tracks, "Move to another group")
            .keys ({ key (Key::leftKey, ctrl | shift) }).when (hasTrack)
            .does ([] (T t) { t.tracks.moveToGroup (-1); }),
        Entry (V::moveToNextGroup, "moveToNextGroup", A::tracks, "Move to another group")
            .keys ({ key (Key::rightKey, ctrl | shift) }).when (hasTrack)
            .does ([] (T t) { t.tracks.moveToGroup (1); }),
        Entry (V::locateSource, "locateSource", A::tracks, "Locate source file")
            .inMenus ("Locate source file\xe2\x80\xa6")
            .does ([] (T t) { t.work.chooseSource (t.group(), t.track()->id()); })
            .when ([] (T t) { return hasTrack (t) && ! t.track()->isSourceFileThere(); }),
        Entry (V::undo, "undo", A::tracks, "Undo").keys ({ key ('Z', ctrl) })
            .does ([] (T t) { t.tracks.undo(); })
            .when ([] (T t) { return hasGroup (t) && t.group()->undo().canUndo(); })
            .of ([] (T t) { return t.group()->undo().undoName(); }),
        Entry (V::redo, "redo", A::tracks, "Redo").keys ({ key ('Z', ctrl | shift) })
            .does ([] (T t) { t.tracks.redo(); })
            .when ([] (T t) { return hasGroup (t) && t.group()->undo().canRedo(); })
            .of ([] (T t) { return t.group()->undo().redoName(); }),
        Entry (V::contextMenu, "contextMenu", A::tracks, "Menu of the track")
            .keys ({ key (Key::F10Key, shift) }).when (hasTrack)
            .does ([] (T t) { t.window.showTrackMenu (t.track()); }),

        Entry (V::toggleSettingOfGroup, "toggleSettingOfGroup", A::knobs, "A or B, of the group")
            .keys ({ key ('A', shift) }).does ([] (T t) { t.tracks.toggleSetting (true); }),
        Entry (V::focusUp, "focusUp", A::knobs, "Focus by 1%").keys ({ key (Key::upKey, alt) })
            .does ([] (T t) { t.tracks.nudgeFocus (nudge); }),
        Entry (V::focusDown, "focusDown", A::knobs, "Focus by 1%").keys ({ key (Key::downKey, alt) })
            .does ([] (T t) { t.tracks.nudgeFocus (-nudge); }),
        Entry (V::focusUpCoarse, "focusUpCoarse", A::knobs, "Focus by 5%")
            .keys ({ key (Key::upKey, alt | shift) }).does ([] (T t) { t.tracks.nudgeFocus (coarseNudge); }),
        Entry (V::focusDownCoarse, "focusDownCoarse", A::knobs, "Focus by 5%")
            .keys ({ key (Key::downKey, alt | shift) })
            .does ([] (T t) { t.tracks.nudgeFocus (-coarseNudge); }),
        Entry (V::fineUp, "fineUp", A::knobs, "Fine by 1%").keys ({ key (Key::rightKey, alt) })
            .does ([] (T t) { t.tracks.nudgeFine (nudge); }),
        Entry (V::fineDown, "fineDown", A::knobs, "Fine by 1%").keys ({ key (Key::leftKey, alt) })
            .does ([] (T t) { t.tracks.nudgeFine (-nudge); }),
        Entry (V::fineUpCoarse, "fineUpCoarse", A::knobs, "Fine by 5%")
            .keys ({ key (Key::rightKey, alt | shift) })
            .does ([] (T t) { t.tracks.nudgeFine (coarseNudge); }),
        Entry (V::fineDownCoarse, "fineDownCoarse", A::knobs, "Fine by 5%")
            .keys ({ key (Key::leftKey, alt | shift) })
            .does ([] (T t) { t.tracks.nudgeFine (-coarseNudge); }),
        Entry (V::typeFocus, "typeFocus", A::knobs, "Type Focus").keys ({ key (Key::returnKey) })
            .does ([] (T t) { t.dock.view.getFocus().typeValue(); }),
        Entry (V::typeFine, "typeFine", A::knobs, "Type Fine").keys ({ key (Key::returnKey, shift) })
            .does ([] (T t) { t.dock.view.getFine().typeValue(); }),
        Entry (V::resetKnobs, "resetKnobs", A::knobs, "Both knobs to their start").keys ({ key ('0', alt) })
            .does ([] (T t) { t.tracks.resetKnobs(); }),
        Entry (V::copySetting, "copySetting", A::knobs, "Copy to the other setting").keys ({ key ('C') })
            .does ([] (T t) { t.tracks.copySoundingSetting(); }),
        Entry (V::copyAToB, "copyAToB", A::knobs, "Copy A to B")
            .does ([] (T t) { t.tracks.copyKnobs (KnobSetting::a); }),
        Entry (V::copyBToA, "copyBToA", A::knobs, "Copy B to A")
            .does ([] (T t) { t.tracks.copyKnobs (KnobSetting::b); }),
        Entry (V::applyToType, "applyToType", A::knobs, "Apply to all of this type")
            .does ([] (T t) { t.tracks.applyToType (*t.track()); }).when (hasTrack),
        Entry (V::copySettings, "copySettings", A::knobs, "Copy settings").keys ({ key ('C', ctrl) })
            .does ([] (T t) { KnobExchange (t.tracks).copyToClipboard (*t.track()); }).when (hasKnobs),
        Entry (V::pasteSettings, "pasteSettings", A::knobs, "Paste settings").keys ({ key ('V', ctrl) })
            .does ([] (T t) { KnobExchange (t.tracks).paste(); }).when (hasTrack),
        Entry (V::applyPreset, "applyPreset", A::knobs, "Apply preset of").when (hasPreset).of (typeName)
            .does ([] (T t) { KnobExchange (t.tracks).applyPreset (t.track()->drumType()); }),
        Entry (V::savePreset, "savePreset", A::knobs, "Save as preset of").when (hasKnobs).of (typeName)
            .does ([] (T t) { KnobExchange (t.tracks).savePreset (*t.track()); }),
        Entry (V::presetForNewTracks, "presetForNewTracks", A::knobs, "Use for new tracks of this type")
            .does ([] (T t) { usePresetForNew (t, ! isPresetForNew (t)); }).when (hasPreset)
            .ticked (isPresetForNew),
        Entry (V::forgetPreset, "forgetPreset", A::knobs, "Back to the program's own").when (hasPreset)
            .does ([] (T t) { KnobExchange (t.tracks).forgetPreset (t.track()->drumType()); }),
        Entry (V::bypass, "bypass", A::knobs, "Bypass").keys ({ key ('B') })
            .does ([] (T t) { t.wave.toggleListening (ListenMode::bypass); }),
        Entry (V::removed, "removed", A::knobs, "Removed").keys ({ key ('R') })
            .does ([] (T t) { t.wave.toggleListening (ListenMode::removed); }),
        Entry (V::playWholeGroup, "playWholeGroup", A::tracks, "Play the whole kit").keys ({ key ('T') })
            .onSheet ("Hear the track or the kit").when (hasTrack)
            .does ([] (T t) { t.window.setPlaysKit (! t.player.playsWholeGroup()); })
            .ticked ([] (T t) { return t.player.playsWholeGroup(); }),
        Entry (V::solo, "solo", A::tracks, "Solo in the kit").keys ({ key ('S', shift) })
            .does ([] (T t) { t.tracks.setSolo (t.tracks.chosen(), ! t.track()->state().strip.solo); })
            .ticked ([] (T t) { return t.track()->state().strip.solo; }).when (playsWholeGroup),
        Entry (V::mute, "mute", A::tracks, "Mute in the kit").keys ({ key ('M', shift) })
            .does ([] (T t) { t.tracks.setMute (t.tracks.chosen(), ! t.track()->state().strip.mute); })
            .ticked ([] (T t) { return t.track()->state().strip.mute; }).when (playsWholeGroup),
        Entry (V::equalLoudness, "equalLoudness", A::knobs, "Equal loudness").keys ({ key ('Q') })
            .does ([] (T t) { t.player.setMatchesLoudness (! t.player.matchesLoudness()); })
            .ticked ([] (T t) { return t.player.matchesLoudness(); }).when (hasTrack),
        Entry (V::blindTest, "blindTest", A::knobs, "Blind test of A and B").keys ({ key ('X') })
            .inMenus ("Blind test of A and B\xe2\x80\xa6").does ([] (T t) { t.dialogs.showBlindTest(); })
            .when ([] (T t) { return hasTrack (t) && t.tracks.track()->state().hasProcessedOutput()
                                     && t.player.canPlay(); }),

        Entry (V::nudgeBack, "nudgeBack", A::playback, "Playhead by 0.1 s").keys ({ key (Key::leftKey) })
            .does ([] (T t) { t.wave.seek (t.player.position() - playheadStep); }),
        Entry (V::nudgeForward, "nudgeForward", A::playback, "Playhead by 0.1 s")
            .keys ({ key (Key::rightKey) })
            .does ([] (T t) { t.wave.seek (t.player.position() + playheadStep); }),
        Entry (V::nudgeBackCoarse, "nudgeBackCoarse", A::playback, "Playhead by 1 s")
            .keys ({ key (Key::leftKey, shift) })
            .does ([] (T t) { t.wave.seek (t.player.position() - coarsePlayheadStep); }),
        Entry (V::nudgeForwardCoarse, "nudgeForwardCoarse", A::playback, "Playhead by 1 s")
            .keys ({ key (Key::rightKey, shift) })
            .does ([] (T t) { t.wave.seek (t.player.position() + coarsePlayheadStep); }),
        Entry (V::toStart, "toStart", A::playback, "To the start, the end").keys ({ key (Key::homeKey) })
            .does ([] (T t) { t.wave.seek (0.0); }),
        Entry (V::toEnd, "toEnd", A::playback, "To the start, the end").keys ({ key (Key::endKey) })
            .does ([] (T t) { t.wave.seek (t.player.duration()); }),
        Entry (V::loop, "loop", A::playback, "Loop").keys ({ key ('L') })
            .does ([] (T t) { t.wave.setLooping (! t.wave.isLooping()); }),
        Entry (V::loopIn, "loopIn", A::playback, "Loop start, end at the playhead").keys ({ key ('I') })
            .does ([] (T t) { t.wave.view.setLoopStartToPlayhead(); }),
        Entry (V::loopOut, "loopOut", A::playback, "Loop start, end at the playhead").keys ({ key ('O') })
            .does ([] (T t) { t.wave.view.setLoopEndToPlayhead(); }),
        Entry (V::nextHit, "nextHit", A::playback, "Next, previous hit").keys ({ key ('N') })
            .does ([] (T t) { t.wave.seekHit (1); }).when (hasTrack),
        Entry (V::previousHit, "previousHit", A::playback, "Next, previous hit").keys ({ key ('P') })
            .does ([] (T t) { t.wave.seekHit (-1); }).when (hasTrack),
        Entry (V::selectNextHit, "selectNextHit", A::playback, "Select from hit to hit")
            .keys ({ key ('N', shift) }).does ([] (T t) { t.wave.selectHit (1); }).when (hasTrack),
        Entry (V::selectPreviousHit, "selectPreviousHit", A::playback, "Select from hit to hit")
            .keys ({ key ('P', shift) }).does ([] (T t) { t.wave.selectHit (-1); }).when (hasTrack),
        Entry (V::clearMeter, "clearMeter", A::playback, "Clear the meter's number").keys ({ key ('Z') })
            .does ([] (T t) { t.dock.meter.getMeter().clear(); }),
        Entry (V::volumeUp, "volumeUp", A::playback, "Volume by 1 dB").keys ({ key (Key::upKey, ctrl) })
            .does ([] (T t) { t.playback.changeVolume (volumeStep); }),
        Entry (V::volumeDown, "volumeDown", A::playback, "Volume by 1 dB").keys ({ key (Key::downKey, ctrl) })
            .does ([] (T t) { t.playback.changeVolume (-volumeStep); }),
        Entry (V::follow, "follow", A::playback, "Follow the playhead").keys ({ key ('F') })
            .does ([] (T t) { t.wave.setFollowing (! t.wave.isFollowing()); }),

        // The plus sign takes Shift on some keyboards, and stands above the equals sign on others.
        Entry (V::zoomIn, "zoomIn", A::waveform, "Zoom in, out")
            .keys ({ key ('+'), key ('='), key ('+', shift), key ('=', shift) })
            .does ([] (T t) { t.wave.view.zoomHorizontally (1); }),
        Entry (V::zoomOut, "zoomOut", A::waveform, "Zoom in, out").keys ({ key ('-') })
            .does ([] (T t) { t.wave.view.zoomHorizontally (-1); }),
        Entry (V::zoomInVertically, "zoomInVertically", A::waveform, "Zoom vertically")
            .keys ({ key ('+', ctrl), key ('=', ctrl), key ('+', ctrl | shift) })
            .does ([] (T t) { t.wave.view.zoomVertically (1); }),
        Entry (V::zoomOutVertically, "zoomOutVertically", A::waveform, "Zoom vertically")
            .keys ({ key ('-', ctrl) }).does ([] (T t) { t.wave.view.zoomVertically (-1); }),
        Entry (V::fit, "fit", A::waveform, "The whole track").keys ({ key ('0') })
            .does ([] (T t) { t.wave.view.fit(); }),
        Entry (V::zoomToSelection, "zoomToSelection", A::waveform, "The selection").keys ({ key ('S') })
            .does ([] (T t) { t.wave.view.zoomToSelection(); }),
        Entry (V::clearSelection, "escape", A::waveform, "Clear the selection")
            .keys ({ key (Key::escapeKey) }).does ([] (T t) { t.wave.view.clearSelection(); }),

        Entry (V::showOrHideKept, "showOrHideKept", A::waveform, "Show or hide kept, removed")
            .keys ({ key ('K') }).does ([] (T t) { t.wave.header.showOrHideKept(); }),
        Entry (V::showOrHideRemoved, "showOrHideRemoved", A::waveform, "Show or hide kept, removed")
            .keys ({ key ('K', shift) }).does ([] (T t) { t.wave.header.showOrHideRemoved(); }),

        Entry (V::showOrHideSpectrum, "showOrHideSpectrum", A::waveform, "Spectrum").keys ({ key ('G') })
            .onSheet ("Show or hide the spectrum").ticked ([] (T t) { return t.bleed.isSpectrumSeen(); })
            .does ([] (T t) { t.bleed.showSpectrum (! t.bleed.isSpectrumSeen()); }),
        Entry (V::bleedMap, "bleedMap", A::waveform, "Bleed map").keys ({ key ('M') })
            .does ([] (T t) { t.bleed.setOpen (! t.bleed.isOpen()); }).when (hasTrack)
            .ticked ([] (T t) { return t.bleed.isOpen(); }),

        Entry (V::nextArea, "nextArea", A::window, "Next, previous area").keys ({ key (Key::F6Key) })
            .does ([] (T t) { t.window.moveToArea (1); }),
        Entry (V::previousArea, "previousArea", A::window, "Next, previous area")
            .keys ({ key (Key::F6Key, shift) }).does ([] (T t) { t.window.moveToArea (-1); }),
        Entry (V::browserNarrower, "browserNarrower", A::window, "Browser narrower, wider")
            .keys ({ key (',', ctrl) }).does ([] (T t) { t.browser.widen (-browserStep); }),
        Entry (V::browserWider, "browserWider", A::window, "Browser narrower, wider")
            .keys ({ key ('.', ctrl) }).does ([] (T t) { t.browser.widen (browserStep); }),
        Entry (V::menuBar, "menuBar", A::window, "Menus").keys ({ key (Key::F10Key) })
            .does ([] (T t) { t.window.openMenu (0); }),
        Entry (V::keySheet, "keySheet", A::window, "All keys").keys ({ key (Key::F1Key) })
            .does ([] (T t) { t.dialogs.showKeySheet(); }),
        // clang-format on
    };

    for (std::size_t i = 0; i < drumTypeChooserOrder.size(); ++i)
    {
        Entry entry (V::drumType, "drumType", A::tracks, drumTypeDisplayName (drumTypeChooserOrder[i]));
        entry.type = drumTypeChooserOrder[i];
        entry.onSheet ("Drum type").keys ({ key ('1' + static_cast<int> (i)) }).when (hasTrack);
        entries.push_back (entry);
    }

    for (int i = 0; i < menuNames().size(); ++i)
    {
        Entry entry (V::openMenu, "openMenu", A::window, menuNames()[i]);
        entry.menu = i;
        entry.onSheet ("Menus").keys ({ key (menuNames()[i][0], alt) });
        entries.push_back (entry);
    }

    return entries;
}

} // namespace

std::span<const VerbEntry> allVerbs()
{
    static const auto verbs = makeVerbs(); // when first asked for: the toolkit's key codes are no constants
    return verbs;
}

} // namespace tessivar
