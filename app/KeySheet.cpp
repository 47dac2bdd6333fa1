#include "app/KeySheet.h"

#include "app/Verbs.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

juce::String keyText (const juce::KeyPress& pressed)
{
    using Key = juce::KeyPress;
    static const std::pair<int, const char*> names[] = {
        { Key::spaceKey, "Space" },
        { Key::returnKey, "Enter" },
        { Key::escapeKey, "Escape" },
        { Key::deleteKey, "Delete" },
        { Key::upKey, "Up" },
        { Key::downKey, "Down" },
        { Key::leftKey, "Left" },
        { Key::rightKey, "Right" },
        { Key::pageUpKey, "Page Up" },
        { Key::homeKey, "Home" },
        { Key::pageDownKey, "Page Down" },
        { Key::endKey, "End" },
        { Key::F1Key, "F1" },
        { Key::F2Key, "F2" },
        { Key::F6Key, "F6" },
        { Key::F10Key, "F10" },
        { Key::F11Key, "F11" },
    };
    const auto modifiers = pressed.getModifiers();
    juce::String text;
    text << (modifiers.isCommandDown() ? "Ctrl+" : "") << (modifiers.isAltDown() ? "Alt+" : "")
         << (modifiers.isShiftDown() ? "Shift+" : "");

    for (const auto& [code, name] : names)
        if (code == pressed.getKeyCode())
            return text + name;

    return text
           + juce::String::charToString (
               juce::CharacterFunctions::toUpperCase (static_cast<juce::juce_wchar> (pressed.getKeyCode())));
}

namespace
{
/** "Ctrl+Shift+" of "Ctrl+Shift+Up" and of "Ctrl+Shift+Up/Down" */
juce::String modifiersOf (const juce::String& keys)
{
    return keys.substring (0, keys.dropLastCharacters (1).lastIndexOfChar ('+') + 1);
}
} // namespace

std::vector<KeySheetSection> keySheetSections()
{
    std::vector<KeySheetSection> sections{
        { "Groups and files", {} },    { "Window", {} },  { "Tracks", {} }, { "Playback and loop", {} },
        { "Knobs and listening", {} }, { "Waveform", {} }
    };

    for (const auto& entry : allVerbs())
    {
        auto keys = entry.windowKeys;

        if (entry.commandKey.isValid() && isServed (entry))
            keys.push_back (entry.commandKey);

        if (keys.empty())
            continue;

        // Verbs that belong together have one line: up and down, the seven types, the commands of a pair.
        auto& lines = sections[static_cast<std::size_t> (entry.area)].lines;
        const auto text = entry.sheetText.isNotEmpty() ? entry.sheetText : entry.name;
        const auto line =
            std::find_if (lines.begin(), lines.end(), [&] (const auto& each) { return each.text == text; });
        auto& shown = line != lines.end() ? *line : lines.emplace_back (KeySheetLine{ text, {} });
        const auto key = keyText (keys.front());

        if (const auto modifiers = modifiersOf (key); shown.keys.contains (key))
            continue;
        else if (const auto last = shown.keys.size() - 1;
                 modifiers.isNotEmpty() && last >= 0 && modifiersOf (shown.keys[last]) == modifiers)
            shown.keys.set (last, shown.keys[last] + "/" + key.substring (modifiers.length()));
        else
            shown.keys.add (key);
    }

    return sections;
}

} // namespace tessivar
