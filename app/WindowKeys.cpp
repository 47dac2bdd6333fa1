#include "app/WindowKeys.h"

#include <array>

namespace tessivar
{

namespace
{
using K = WindowKey;

struct Entry
{
    int code;
    int modifiers;
    WindowKey key;
};

constexpr int none = 0, shift = juce::ModifierKeys::shiftModifier, alt = juce::ModifierKeys::altModifier,
              command = juce::ModifierKeys::commandModifier;

// Built when first asked for: the toolkit's key codes are no constants.
const auto& windowKeys()
{
    static const std::array entries{
        Entry{ juce::KeyPress::spaceKey, none, K::playOrStop },
        Entry{ 'A', none, K::toggleSetting },
        Entry{ 'A', shift, K::toggleSettingOfGroup },
        Entry{ 'B', none, K::bypass },
        Entry{ 'R', none, K::removed },
        Entry{ juce::KeyPress::upKey, alt, K::focusUp },
        Entry{ juce::KeyPress::downKey, alt, K::focusDown },
        Entry{ juce::KeyPress::upKey, alt | shift, K::focusUpCoarse },
        Entry{ juce::KeyPress::downKey, alt | shift, K::focusDownCoarse },
        Entry{ juce::KeyPress::rightKey, alt, K::fineUp },
        Entry{ juce::KeyPress::leftKey, alt, K::fineDown },
        Entry{ juce::KeyPress::rightKey, alt | shift, K::fineUpCoarse },
        Entry{ juce::KeyPress::leftKey, alt | shift, K::fineDownCoarse },
        Entry{ juce::KeyPress::returnKey, none, K::typeFocus },
        Entry{ juce::KeyPress::returnKey, shift, K::typeFine },
        Entry{ '0', alt, K::resetKnobs },
        Entry{ 'C', none, K::copySetting },
        Entry{ '+', none, K::zoomIn },
        Entry{ '=', none, K::zoomIn },
        Entry{ '+', shift, K::zoomIn },
        Entry{ '=', shift, K::zoomIn },
        Entry{ '-', none, K::zoomOut },
        Entry{ '+', command, K::zoomInVertically },
        Entry{ '+', command | shift, K::zoomInVertically }, // where the plus sign needs it
        Entry{ '=', command, K::zoomInVertically },
        Entry{ '-', command, K::zoomOutVertically },
        Entry{ '0', none, K::fit },
        Entry{ 'S', none, K::zoomToSelection },
        Entry{ juce::KeyPress::upKey, none, K::previousTrack },
        Entry{ juce::KeyPress::downKey, none, K::nextTrack },
        Entry{ juce::KeyPress::pageUpKey, none, K::previousGroup },
        Entry{ juce::KeyPress::pageDownKey, none, K::nextGroup },
        Entry{ 'E', none, K::includeOrExclude },
        Entry{ juce::KeyPress::deleteKey, none, K::removeTrack },
        Entry{ juce::KeyPress::F2Key, none, K::renameGroup },
        Entry{ juce::KeyPress::leftKey, none, K::nudgeBack },
        Entry{ juce::KeyPress::rightKey, none, K::nudgeForward },
        Entry{ juce::KeyPress::leftKey, shift, K::nudgeBackCoarse },
        Entry{ juce::KeyPress::rightKey, shift, K::nudgeForwardCoarse },
        Entry{ juce::KeyPress::homeKey, none, K::toStart },
        Entry{ juce::KeyPress::endKey, none, K::toEnd },
        Entry{ 'L', none, K::loop },
        Entry{ 'I', none, K::loopIn },
        Entry{ 'O', none, K::loopOut },
        Entry{ 'F', none, K::follow },
        Entry{ juce::KeyPress::F11Key, none, K::fullScreen },
        Entry{ juce::KeyPress::F6Key, none, K::nextArea },
        Entry{ juce::KeyPress::F6Key, shift, K::previousArea },
        Entry{ juce::KeyPress::F10Key, shift, K::contextMenu },
        Entry{ juce::KeyPress::escapeKey, none, K::escape },
        Entry{ 'Z', command, K::undo },
        Entry{ 'Z', command | shift, K::redo },
    };

    return entries;
}

std::optional<WindowKey> lookUp (int code, int modifiers)
{
    for (const auto& entry : windowKeys())
        if (entry.code == code && entry.modifiers == modifiers)
            return entry.key;

    return std::nullopt;
}
} // namespace

std::optional<WindowKey> windowKeyFor (const juce::KeyPress& key)
{
    const auto modifiers = key.getModifiers().getRawFlags()
                           & (juce::ModifierKeys::shiftModifier | juce::ModifierKeys::altModifier
                              | juce::ModifierKeys::commandModifier);

    if (drumTypeIndexOf (key) >= 0)
        return WindowKey::drumType;

    auto code = key.getKeyCode();

    if (code >= 'a' && code <= 'z')
        code += 'A' - 'a';

    return lookUp (code, modifiers);
}

juce::KeyPress keyOf (WindowKey key)
{
    for (const auto& entry : windowKeys())
        if (entry.key == key)
            return { entry.code, juce::ModifierKeys (entry.modifiers), 0 };

    jassertfalse;
    return {};
}

int drumTypeIndexOf (const juce::KeyPress& key)
{
    const auto code = key.getKeyCode();
    const auto isPlain = ! key.getModifiers().isAnyModifierKeyDown();
    return isPlain && code >= '1' && code <= '7' ? code - '1' : -1;
}

} // namespace tessivar
