#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <optional>

namespace tessivar
{

/** What the window's own keys do; the commands have keys of their own. */
enum class WindowKey
{
    playOrStop,
    toggleSetting,
    toggleSettingOfGroup,
    bypass,
    removed,
    focusUp,
    focusDown,
    focusUpCoarse,
    focusDownCoarse,
    fineUp,
    fineDown,
    fineUpCoarse,
    fineDownCoarse,
    typeFocus,
    typeFine,
    resetKnobs,
    copySetting,
    zoomIn,
    zoomOut,
    zoomInVertically,
    zoomOutVertically,
    fit,
    zoomToSelection,
    previousTrack,
    nextTrack,
    previousGroup,
    nextGroup,
    drumType, // see drumTypeIndexOf
    includeOrExclude,
    removeTrack,
    renameGroup,
    nudgeBack,
    nudgeForward,
    nudgeBackCoarse,
    nudgeForwardCoarse,
    toStart,
    toEnd,
    loop,
    loopIn,
    loopOut,
    follow,
    fullScreen,
    nextArea,
    previousArea,
    contextMenu,
    escape,
    undo,
    redo
};

[[nodiscard]] std::optional<WindowKey> windowKeyFor (const juce::KeyPress& key);

/** The key that a menu names beside what this does: the first of several. Not for WindowKey::drumType. */
[[nodiscard]] juce::KeyPress keyOf (WindowKey key);

/** 0 to 6 for the keys 1 to 7: a drum type in the chooser's order. -1 for any other key. */
[[nodiscard]] int drumTypeIndexOf (const juce::KeyPress& key);

} // namespace tessivar
