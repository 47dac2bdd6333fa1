#include "app/Commands.h"
#include "app/KeySheet.h"

#include <catch2/catch.hpp>

#include <map>
#include <set>

using namespace tessivar;

namespace
{
juce::StringArray textsOf (const juce::PopupMenu& menu)
{
    juce::StringArray texts;
    juce::PopupMenu::MenuItemIterator items (menu);

    while (items.next())
        texts.add (items.getItem().isSeparator ? "-" : items.getItem().text);

    return texts;
}

const juce::ModifierKeys ctrl{ juce::ModifierKeys::commandModifier };
const juce::ModifierKeys ctrlShift{ juce::ModifierKeys::commandModifier | juce::ModifierKeys::shiftModifier };
} // namespace

TEST_CASE ("Verbs", "[app][verbs]")
{
    SECTION ("can all be done, and no two by one key")
    {
        std::map<juce::String, Verb> owners;
        const auto claim = [&] (const juce::KeyPress& key, const VerbEntry& entry)
        {
            const auto text = key.getTextDescription() + (entry.type ? entry.name : juce::String());
            INFO (text << " of " << entry.id);
            CHECK (owners.try_emplace (key.getTextDescription(), entry.verb).first->second == entry.verb);
        };

        for (int i = 0; i <= static_cast<int> (Verb::keySheet); ++i)
        {
            const auto verbs = allVerbs();
            const auto verb = static_cast<Verb> (i);
            INFO ("verb " << i);
            REQUIRE (std::any_of (
                verbs.begin(), verbs.end(), [&] (const auto& entry) { return entry.verb == verb; }));
            const auto& entry = entryOf (verb);
            CHECK ((entry.perform != nullptr) == (! entry.type && ! entry.menu));
        }

        for (const auto& entry : allVerbs())
        {
            for (const auto& key : entry.windowKeys)
            {
                claim (key, entry);
                CHECK (verbForKey (key) == &entry);
            }

            if (entry.commandKey.isValid() && isServed (entry))
                claim (entry.commandKey, entry);
        }

        CHECK (verbForKey (juce::KeyPress ('a', {}, 'a')) == &entryOf (Verb::toggleSetting));
        CHECK (verbForKey (juce::KeyPress ('5', {}, '5'))->type == drumTypeChooserOrder[4]);
        CHECK (verbForKey (juce::KeyPress ('5', ctrl, 0)) == nullptr);
        CHECK (verbForKey (juce::KeyPress ('w', ctrl, 0)) == nullptr);
    }

    SECTION ("that are commands keep their numbers, words and oddities")
    {
        const juce::ScopedJuceInitialiser_GUI toolkit;
        Commands commands;
        juce::Array<juce::CommandID> served;
        commands.getAllCommands (served);
        CHECK (served == juce::Array<juce::CommandID>{ 16, 17, 18, 19, 20, 22, 33,  34,  35, 36, 37,
                                                       38, 49, 50, 65, 66, 67, 68,  69,  70, 81, 82,
                                                       83, 84, 23, 97, 98, 99, 100, 101, 102 });
        juce::ApplicationCommandInfo save (18), exports (69), close (21);
        commands.getCommandInfo (18, save);
        CHECK (save.shortName == "Save Group");
        CHECK (save.description == "Save Track");
        CHECK (save.categoryName == "General");
        commands.getCommandInfo (69, exports);
        CHECK (exports.shortName == "Export Group");
        commands.getCommandInfo (21, close);
        CHECK (close.shortName == "Close All Groups");

        auto* keys = commands.manager().getKeyMappings();
        CHECK (keys->findCommandForKeyPress (juce::KeyPress ('o', ctrl, 0)) == 17);
        CHECK (keys->findCommandForKeyPress (juce::KeyPress ('x', ctrl, 0)) == 69);
        CHECK (keys->findCommandForKeyPress (juce::KeyPress ('x', ctrlShift, 0)) == 67);
        CHECK (keys->findCommandForKeyPress (juce::KeyPress ('s', ctrlShift, 0)) == 19);
        CHECK (keys->findCommandForKeyPress (juce::KeyPress ('i', ctrl, 0)) == 36);
        CHECK (keys->findCommandForKeyPress (juce::KeyPress ('w', ctrl, 0)) == 0);
    }

    SECTION ("are named with their keys in menus and on the key sheet")
    {
        CHECK (shownKeyOf (Verb::exportTrack).getTextDescription()
               == "ctrl + E"); // of the pair's other command
        CHECK (shownKeyOf (Verb::removeTrack) == juce::KeyPress (juce::KeyPress::deleteKey));
        CHECK_FALSE (shownKeyOf (Verb::settings).isValid());
        CHECK (keyText (shownKeyOf (Verb::redo)) == "Ctrl+Shift+Z");

        std::map<juce::String, juce::StringArray> sheet;

        for (const auto& section : keySheetSections())
            for (const auto& line : section.lines)
            {
                CHECK (sheet.count (line.text) == 0);
                sheet[line.text] = line.keys;
            }

        CHECK (sheet["Drum type"].size() == 7);
        CHECK (sheet["Export Group"] == juce::StringArray{ "Ctrl+X" });
        CHECK (sheet["Previous, next track"] == juce::StringArray{ "Up", "Down" });
        CHECK (sheet["Move up, down"] == juce::StringArray{ "Ctrl+Shift+Up/Down" });
        CHECK (sheet.count ("Close All Groups") == 0);
    }
}

TEST_CASE ("The menu bar", "[app][verbs]")
{
    const juce::ScopedJuceInitialiser_GUI toolkit;
    Commands commands;
    commands.recentFiles = [] { return std::vector<Commands::RecentFile>{ { 2, "/takes/a.dls" } }; };
    CHECK (commands.getMenuBarNames() == juce::StringArray{ "File", "Import", "Analyze", "Export", "Help" });
    CHECK (textsOf (commands.getMenuForIndex (0, {}))
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
    CHECK (textsOf (commands.getMenuForIndex (4, {}))
           == juce::StringArray{ "About Tessivar", "QuickStartGuide", "Documentation", "Online Help" });

    // A verb that is no command of the framework is performed from the menu bar as well.
    auto performed = Verb::quit;
    commands.onPerform = [&] (const VerbEntry& entry) { performed = entry.verb; };
    const auto exports = commands.getMenuForIndex (3, {});
    juce::PopupMenu::MenuItemIterator items (exports);

    while (items.next())
        if (items.getItem().text.startsWith ("Export Report"))
            items.getItem().action();

    juce::MessageManager::getInstance()->runDispatchLoopUntil (20);
    CHECK (performed == Verb::exportReport);

    auto opened = -1;
    commands.onRecentFile = [&] (int index) { opened = index; };
    commands.menuItemSelected (16, 0); // a command, which the framework performs
    CHECK (opened == -1);
    commands.menuItemSelected (113 + 2, 0);
    CHECK (opened == 2);
}
