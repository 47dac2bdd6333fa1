#include "app/CommandCentre.h"
#include "app/WindowKeys.h"

#include <catch2/catch.hpp>

#include <set>

using namespace tessivar;

namespace
{
juce::KeyPress keyOf (int id)
{
    juce::ApplicationCommandInfo info (id);
    describeCommand (id, info);
    return info.defaultKeypresses.isEmpty() ? juce::KeyPress() : info.defaultKeypresses.getFirst();
}

juce::StringArray textsOf (const juce::PopupMenu& menu)
{
    juce::StringArray texts;
    juce::PopupMenu::MenuItemIterator items (menu);

    while (items.next())
        texts.add (items.getItem().isSeparator ? "-" : items.getItem().text);

    return texts;
}
} // namespace

TEST_CASE ("Commands", "[app][commands]")
{
    SECTION ("are described with their names, oddities and keys")
    {
        CHECK (commandEntries().size() == 32);
        juce::ApplicationCommandInfo save (commandId::saveGroup);
        describeCommand (commandId::saveGroup, save);
        CHECK (save.shortName == "Save Group");
        CHECK (save.description == "Save Track");
        CHECK (save.categoryName == "General");
        CHECK (keyOf (commandId::saveGroupAs)
               == juce::KeyPress (
                   's', juce::ModifierKeys::commandModifier | juce::ModifierKeys::shiftModifier, 0));
        CHECK (keyOf (commandId::exportAllGroups) == keyOf (commandId::exportAllGroupsByKey));
        CHECK_FALSE (keyOf (commandId::importTracks).isValid());
        CHECK (keyOf (commandId::importTracksByKey)
               == juce::KeyPress ('i', juce::ModifierKeys::commandModifier, 0));
    }

    SECTION ("are served but for the closing of all Groups, each once")
    {
        const auto served = servedCommands();
        CHECK (served.size() == 31);
        CHECK (std::set<int> (served.begin(), served.end()).size() == 31);
        CHECK (std::find (served.begin(), served.end(), static_cast<int> (commandId::closeAllGroups))
               == served.end());
        CHECK (served[23] == 84);
        CHECK (served[24] == 23);

        for (const auto id : served)
            CHECK (findCommandEntry (id) != nullptr);
    }

    SECTION ("of a pair do the same")
    {
        CHECK (actionOf (commandId::exportGroupByKey) == commandId::exportGroup);
        CHECK (actionOf (commandId::importFoldersByKey) == commandId::importFolders);
        CHECK (actionOf (commandId::saveGroup) == commandId::saveGroup);
    }
}

TEST_CASE ("Menus", "[app][commands]")
{
    const juce::ScopedJuceInitialiser_GUI toolkit;
    CommandCentre centre;
    centre.recentFiles = [] { return std::vector<RecentMenuEntry>{ { 2, "/takes/a.dls" } }; };
    CHECK (centre.getMenuBarNames() == juce::StringArray{ "File", "Import", "Analyze", "Export", "Help" });
    CHECK (textsOf (centre.getMenuForIndex (0, {}))
           == juce::StringArray{ "New Group",
                                 "Open Group(s)",
                                 "-",
                                 "Recent Files",
                                 "-",
                                 "Save Group",
                                 "Save Group as...",
                                 "Save All Groups",
                                 "-",
                                 "Settings",
                                 "-",
                                 "Quit" });
    CHECK (textsOf (centre.getMenuForIndex (4, {}))
           == juce::StringArray{ "About Tessivar", "QuickStartGuide", "Documentation", "Online Help" });

    SECTION ("lead to a recent file by its index")
    {
        auto opened = -1;
        centre.onRecentFile = [&] (int index) { opened = index; };
        centre.menuItemSelected (113 + 2, 0);
        CHECK (opened == 2);
        opened = -1;
        centre.menuItemSelected (commandId::newGroup, 0);
        CHECK (opened == -1);
    }

    SECTION ("and keys to commands, but Ctrl+W to none")
    {
        auto* keys = centre.manager().getKeyMappings();
        CHECK (keys->findCommandForKeyPress (juce::KeyPress ('o', juce::ModifierKeys::commandModifier, 0))
               == commandId::openGroups);
        CHECK (keys->findCommandForKeyPress (juce::KeyPress ('x', juce::ModifierKeys::commandModifier, 0))
               == commandId::exportGroupByKey);
        CHECK (keys->findCommandForKeyPress (juce::KeyPress ('w', juce::ModifierKeys::commandModifier, 0))
               == 0);
    }
}

TEST_CASE ("Keys of the window", "[app][keys]")
{
    const auto none = juce::ModifierKeys();
    const auto with = [] (int flags) { return juce::ModifierKeys (flags); };
    CHECK (windowKeyFor (juce::KeyPress (juce::KeyPress::spaceKey)) == WindowKey::playOrStop);
    CHECK (windowKeyFor (juce::KeyPress ('a', none, 'a')) == WindowKey::toggleSetting);
    CHECK (windowKeyFor (juce::KeyPress ('A', with (juce::ModifierKeys::shiftModifier), 'A'))
           == WindowKey::toggleSettingOfGroup);
    CHECK (windowKeyFor (juce::KeyPress (
               'z', with (juce::ModifierKeys::commandModifier | juce::ModifierKeys::shiftModifier), 0))
           == WindowKey::redo);
    CHECK (windowKeyFor (juce::KeyPress (juce::KeyPress::upKey, with (juce::ModifierKeys::altModifier), 0))
           == WindowKey::focusUp);
    CHECK (windowKeyFor (juce::KeyPress ('5', none, '5')) == WindowKey::drumType);
    CHECK (drumTypeIndexOf (juce::KeyPress ('5', none, '5')) == 4);
    CHECK (drumTypeIndexOf (juce::KeyPress ('5', with (juce::ModifierKeys::commandModifier), 0)) == -1);

    // What a menu names beside an entry, the key of a pair's other command included.
    CHECK (keyOf (WindowKey::redo).getTextDescription() == "ctrl + shift + Z");
    CHECK (keyOf (WindowKey::removeTrack) == juce::KeyPress (juce::KeyPress::deleteKey));
    CHECK (keyOfAction (commandId::exportTrack).getTextDescription() == "ctrl + E");
    CHECK (keyOfAction (commandId::saveGroupAs).getTextDescription() == "ctrl + shift + S");
    CHECK_FALSE (keyOfAction (commandId::settings).isValid());

    // Keys of commands, and Ctrl+W, are not the window's.
    for (const auto letter : { 'w', 's', 'o', 'x', 'a', 'b' })
        CHECK_FALSE (windowKeyFor (juce::KeyPress (letter, with (juce::ModifierKeys::commandModifier), 0))
                         .has_value());
}
