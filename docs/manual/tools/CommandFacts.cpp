#include "docs/manual/tools/ManualFacts.h"

#include "app/CommandCentre.h"
#include "app/WindowKeys.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <stdexcept>
#include <string>

namespace tessivar
{

namespace
{
using Json = nlohmann::ordered_json;

struct NamedCommand
{
    const char* name;
    int id;
};

/** What a menu shows or a key does; of a pair the menu's. The window's own keys send commands 97 to 102. */
constexpr std::array namedCommands{
    NamedCommand{ "newGroup", commandId::newGroup },
    NamedCommand{ "openGroups", commandId::openGroups },
    NamedCommand{ "saveGroup", commandId::saveGroup },
    NamedCommand{ "saveGroupAs", commandId::saveGroupAs },
    NamedCommand{ "saveAllGroups", commandId::saveAllGroups },
    NamedCommand{ "settings", commandId::settings },
    NamedCommand{ "quit", commandId::quit },
    NamedCommand{ "importTracks", commandId::importTracks },
    NamedCommand{ "importFolders", commandId::importFolders },
    NamedCommand{ "importFromGroup", commandId::importFromGroup },
    NamedCommand{ "analyzeGroup", commandId::analyzeGroup },
    NamedCommand{ "analyzeGroups", commandId::analyzeGroups },
    NamedCommand{ "exportTrack", commandId::exportTrack },
    NamedCommand{ "exportGroup", commandId::exportGroup },
    NamedCommand{ "exportAllGroups", commandId::exportAllGroups },
    NamedCommand{ "quickStartGuide", commandId::quickStartGuide },
    NamedCommand{ "documentation", commandId::documentation },
    NamedCommand{ "onlineHelp", commandId::onlineHelp },
    NamedCommand{ "about", commandId::about },
};

struct NamedKey
{
    const char* name;
    int code;
};

std::vector<NamedKey> plainKeys()
{
    using Key = juce::KeyPress;
    return {
        { "Space", Key::spaceKey },
        { "Enter", Key::returnKey },
        { "Escape", Key::escapeKey },
        { "Tab", Key::tabKey },
        { "Delete", Key::deleteKey },
        { "Backspace", Key::backspaceKey },
        { "Insert", Key::insertKey },
        { "Up", Key::upKey },
        { "Down", Key::downKey },
        { "Left", Key::leftKey },
        { "Right", Key::rightKey },
        { "Page Up", Key::pageUpKey },
        { "Page Down", Key::pageDownKey },
        { "Home", Key::homeKey },
        { "End", Key::endKey },
        { "F1", Key::F1Key },
        { "F2", Key::F2Key },
        { "F3", Key::F3Key },
        { "F4", Key::F4Key },
        { "F5", Key::F5Key },
        { "F6", Key::F6Key },
        { "F7", Key::F7Key },
        { "F8", Key::F8Key },
        { "F9", Key::F9Key },
        { "F10", Key::F10Key },
        { "F11", Key::F11Key },
        { "F12", Key::F12Key },
    };
}

std::string textOf (int modifiers, const std::string& name)
{
    std::string text;

    if ((modifiers & juce::ModifierKeys::commandModifier) != 0)
        text += "Ctrl+";
    if ((modifiers & juce::ModifierKeys::altModifier) != 0)
        text += "Alt+";
    if ((modifiers & juce::ModifierKeys::shiftModifier) != 0)
        text += "Shift+";

    return text + name;
}

/** A switch, so that the compiler asks for the name of a new one. */
const char* nameOf (WindowKey key)
{
    switch (key)
    {
            // clang-format off
        case WindowKey::playOrStop: return "playOrStop";
        case WindowKey::toggleSetting: return "toggleSetting";
        case WindowKey::toggleSettingOfGroup: return "toggleSettingOfGroup";
        case WindowKey::bypass: return "bypass";
        case WindowKey::removed: return "removed";
        case WindowKey::focusUp: return "focusUp";
        case WindowKey::focusDown: return "focusDown";
        case WindowKey::focusUpCoarse: return "focusUpCoarse";
        case WindowKey::focusDownCoarse: return "focusDownCoarse";
        case WindowKey::fineUp: return "fineUp";
        case WindowKey::fineDown: return "fineDown";
        case WindowKey::fineUpCoarse: return "fineUpCoarse";
        case WindowKey::fineDownCoarse: return "fineDownCoarse";
        case WindowKey::typeFocus: return "typeFocus";
        case WindowKey::typeFine: return "typeFine";
        case WindowKey::resetKnobs: return "resetKnobs";
        case WindowKey::copySetting: return "copySetting";
        case WindowKey::zoomIn: return "zoomIn";
        case WindowKey::zoomOut: return "zoomOut";
        case WindowKey::zoomInVertically: return "zoomInVertically";
        case WindowKey::zoomOutVertically: return "zoomOutVertically";
        case WindowKey::fit: return "fit";
        case WindowKey::zoomToSelection: return "zoomToSelection";
        case WindowKey::previousTrack: return "previousTrack";
        case WindowKey::nextTrack: return "nextTrack";
        case WindowKey::previousGroup: return "previousGroup";
        case WindowKey::nextGroup: return "nextGroup";
        case WindowKey::drumType: return "drumType";
        case WindowKey::includeOrExclude: return "includeOrExclude";
        case WindowKey::removeTrack: return "removeTrack";
        case WindowKey::renameGroup: return "renameGroup";
        case WindowKey::nudgeBack: return "nudgeBack";
        case WindowKey::nudgeForward: return "nudgeForward";
        case WindowKey::nudgeBackCoarse: return "nudgeBackCoarse";
        case WindowKey::nudgeForwardCoarse: return "nudgeForwardCoarse";
        case WindowKey::toStart: return "toStart";
        case WindowKey::toEnd: return "toEnd";
        case WindowKey::loop: return "loop";
        case WindowKey::loopIn: return "loopIn";
        case WindowKey::loopOut: return "loopOut";
        case WindowKey::follow: return "follow";
        case WindowKey::fullScreen: return "fullScreen";
        case WindowKey::nextArea: return "nextArea";
        case WindowKey::previousArea: return "previousArea";
        case WindowKey::contextMenu: return "contextMenu";
        case WindowKey::escape: return "escape";
        case WindowKey::undo: return "undo";
        case WindowKey::redo: return "redo";
            // clang-format on
    }

    throw std::logic_error ("a key of the window has no name");
}

/** Keys by what they do: every key of a keyboard with every set of modifiers is tried. */
std::map<std::string, std::vector<std::string>> windowKeys (std::set<std::string>& all)
{
    auto keys = plainKeys();
    std::vector<std::string> names;
    names.reserve (64);

    for (const char* character = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-=,./"; *character != '\0';
         ++character)
    {
        names.emplace_back (1, *character);
        keys.push_back ({ names.back().c_str(), *character });
    }

    std::map<std::string, std::vector<std::string>> found;
    constexpr std::array modifierBits{ juce::ModifierKeys::shiftModifier,
                                       juce::ModifierKeys::altModifier,
                                       juce::ModifierKeys::commandModifier };

    for (unsigned int set = 0; set < 8; ++set)
    {
        auto modifiers = 0;

        for (std::size_t bit = 0; bit < modifierBits.size(); ++bit)
            if ((set >> bit & 1u) != 0)
                modifiers |= modifierBits[bit];

        for (const auto& key : keys)
            if (const auto meaning = windowKeyFor (juce::KeyPress (key.code, modifiers, 0)))
            {
                found[nameOf (*meaning)].push_back (textOf (modifiers, key.name));
                all.insert (textOf (modifiers, key.name));
            }
    }

    return found;
}

std::vector<std::string> keysOf (int action)
{
    std::vector<std::string> keys;

    for (const auto id : servedCommands())
    {
        const auto* entry = findCommandEntry (id);

        if (entry == nullptr || entry->key == 0 || actionOf (id) != action)
            continue;

        const auto modifiers =
            juce::ModifierKeys::commandModifier | (entry->withShift ? juce::ModifierKeys::shiftModifier : 0);
        const auto letter =
            juce::CharacterFunctions::toUpperCase (static_cast<juce::juce_wchar> (entry->key));
        const auto key = textOf (modifiers, juce::String::charToString (letter).toStdString());

        if (std::find (keys.begin(), keys.end(), key) == keys.end())
            keys.push_back (key);
    }

    return keys;
}

Json itemsOf (const juce::PopupMenu& menu)
{
    auto items = Json::array();
    juce::PopupMenu::MenuItemIterator each (menu);

    while (each.next())
    {
        const auto& item = each.getItem();

        if (! item.isSeparator)
            items.push_back ({ { "text", item.text.toStdString() }, { "id", item.itemID } });
    }

    return items;
}
} // namespace

nlohmann::ordered_json commandFacts()
{
    CommandCentre centre;
    Json menus = Json::object(), commands = Json::object();
    std::map<int, std::string> menuOf;
    std::set<std::string> taken;

    for (int i = 0; i < centre.getMenuBarNames().size(); ++i)
    {
        const auto name = centre.getMenuBarNames()[i];
        menus[name.toStdString()] = itemsOf (centre.getMenuForIndex (i, name));

        for (const auto& item : menus[name.toStdString()])
            menuOf[item["id"].get<int>()] = name.toStdString();
    }

    for (const auto& command : namedCommands)
    {
        const auto* entry = findCommandEntry (command.id);

        if (entry == nullptr)
            throw std::logic_error (std::string ("no such command: ") + command.name);

        const auto menu = menuOf.find (command.id);
        commands[command.name] = { { "text", entry->name },
                                   { "menu", menu == menuOf.end() ? Json() : Json (menu->second) },
                                   { "keys", keysOf (command.id) } };
        menuOf.erase (command.id);
    }

    // What is left has no name above: except the submenu, whose id is 0, a command that the manual doesn't
    // know.
    for (const auto& [id, menu] : menuOf)
        if (id > 0)
            throw std::logic_error ("a command of the menu " + menu + " has no name: " + std::to_string (id));

    const auto window = windowKeys (taken);

    for (const auto& [name, command] : commands.items())
        for (const auto& key : command["keys"])
            if (taken.contains (key.get<std::string>()))
                throw std::logic_error (key.get<std::string>() + " is a key of " + name
                                        + " and of the window");

    return { { "menus", menus }, { "commands", commands }, { "windowKeys", window } };
}

} // namespace tessivar
