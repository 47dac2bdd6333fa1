#include "app/Commands.h"

#include <algorithm>
#include <array>

namespace tessivar
{

namespace
{
using namespace commandId;

constexpr auto openDescription = "Opens a dls file";

constexpr std::array entries{
    CommandEntry{ newGroup, "New Group", "Opens an empty track", 'n' },
    CommandEntry{ openGroups, "Open Group(s)", openDescription, 'o' },
    CommandEntry{ commandId::saveGroup, "Save Group", "Save Track", 's' },
    CommandEntry{ saveGroupAs, "Save Group as...", "Save Group as...", 's', true },
    CommandEntry{ saveAllGroups, "Save All Groups", "Save All Groups" },
    CommandEntry{ closeAllGroups, "Close All Groups", "Close All Groups", 'w' },
    CommandEntry{ settings, "Settings", "Settings" },
    CommandEntry{ quit, "Quit", "Quit", 'q' },
    CommandEntry{ importTracks, "Import Track(s)", "Import Track(s)" },
    CommandEntry{ importFolders, "Import Folder(s)", "Import Folder(s)" },
    CommandEntry{ importFromGroup, "Import Track(s) from DLS", "Import Track(s) from DLS" },
    CommandEntry{ importTracksByKey, "Import Track(s)", "Import Track(s)", 'i' },
    CommandEntry{ importFoldersByKey, "Import Folder(s)", "Import Folder(s)", 'f' },
    CommandEntry{ importFromGroupByKey, "Import Track(s) from DLS", "Import Track(s) from DLS", 'd' },
    CommandEntry{ analyzeGroup, "Analyze Group", "Analyze Group", 'p' },
    CommandEntry{ analyzeGroups, "Analyze Group(s)", "Analyze Group(s)", 'p', true },
    CommandEntry{ exportTrack, "Export Track", "Export Track" },
    CommandEntry{ exportGroup, "Export Group", "Export Group" },
    CommandEntry{ exportAllGroups, "Export All Groups", "Export All Groups", 'x', true },
    CommandEntry{ exportTrackByKey, "Export Track", "Export Track", 'e' },
    CommandEntry{ exportGroupByKey, "Export Group", "Export Group", 'x' },
    CommandEntry{ exportAllGroupsByKey, "Export All Groups", "Export All Groups", 'x', true },
    CommandEntry{ quickStartGuide, "QuickStartGuide", "QuickStartGuide" },
    CommandEntry{ documentation, "Documentation", "Documentation" },
    CommandEntry{ onlineHelp, "Online Help", "Online Help" },
    CommandEntry{ about, "About Tessivar", "About Tessivar" },
    CommandEntry{ playStop, "PlayStop", "PlayStop" },
    CommandEntry{ warnings, "Warnings", "Warnings" },
    CommandEntry{ filesDropped, "Files dropped", "Files dropped" },
    CommandEntry{ closeSelectedGroup, "Close selected Group", "Close selected Group" },
    CommandEntry{ toggleFullscreen, "Toggle Fullscreen", "Toggle Fullscreen" },
    CommandEntry{ toggleSetting, "Toggle AB setup", "Toggle AB setup" },
};

constexpr std::array served{ 16, 17, 18, 19, 20, 22, 33, 34, 35, 36, 37, 38, 49,  50,  65, 66,
                             67, 68, 69, 70, 81, 82, 83, 84, 23, 97, 98, 99, 100, 101, 102 };

constexpr int separator = 0, recentFilesMenu = -1;

constexpr std::array fileMenu{ 16, 17,        separator, recentFilesMenu, separator, 18, 19, 20,
                               21, separator, 22,        separator,       23 };
constexpr std::array importMenu{ 33, 34, 35 };
constexpr std::array analyzeMenu{ 49, 50 };
constexpr std::array exportMenu{ 65, 66, 67 };
constexpr std::array helpMenu{ 84, 81, 82, 83 };

std::span<const int> itemsOf (int menuIndex)
{
    switch (menuIndex)
    {
        case 0:
            return fileMenu;
        case 1:
            return importMenu;
        case 2:
            return analyzeMenu;
        case 3:
            return exportMenu;
        case 4:
            return helpMenu;
        default:
            return {};
    }
}

juce::KeyPress keyOf (const CommandEntry& entry)
{
    const auto shift = entry.withShift ? juce::ModifierKeys::shiftModifier : 0;
    return { entry.key, juce::ModifierKeys (juce::ModifierKeys::commandModifier | shift), 0 };
}

juce::PopupMenu recentMenu (const std::vector<RecentMenuEntry>& files)
{
    juce::PopupMenu menu;

    for (const auto& file : files)
        menu.addItem (firstRecentFile + file.index, file.path);

    return menu;
}
} // namespace

std::span<const CommandEntry> commandEntries()
{
    return entries;
}

const CommandEntry* findCommandEntry (int id)
{
    const auto found = std::find_if (
        entries.begin(), entries.end(), [id] (const CommandEntry& entry) { return entry.id == id; });
    return found == entries.end() ? nullptr : &*found;
}

std::span<const int> servedCommands()
{
    return served;
}

void describeCommand (int id, juce::ApplicationCommandInfo& info)
{
    const auto* entry = findCommandEntry (id);

    if (entry == nullptr)
        return;

    info.setInfo (entry->name, entry->description, "General", 0);

    if (entry->key != 0)
        info.defaultKeypresses.add (keyOf (*entry));
}

juce::KeyPress keyOfAction (int id)
{
    for (const auto& entry : entries)
        if (entry.key != 0 && actionOf (entry.id) == actionOf (id))
            return keyOf (entry);

    return {};
}

int actionOf (int id)
{
    switch (id)
    {
        case importTracksByKey:
            return importTracks;
        case importFoldersByKey:
            return importFolders;
        case importFromGroupByKey:
            return importFromGroup;
        case exportTrackByKey:
            return exportTrack;
        case exportGroupByKey:
            return exportGroup;
        case exportAllGroupsByKey:
            return exportAllGroups;
        default:
            return id;
    }
}

juce::StringArray menuNames()
{
    return { "File", "Import", "Analyze", "Export", "Help" };
}

juce::PopupMenu menuFor (int menuIndex,
                         juce::ApplicationCommandManager& commands,
                         const std::vector<RecentMenuEntry>& recentFiles)
{
    juce::PopupMenu menu;

    for (const auto item : itemsOf (menuIndex))
    {
        if (item == separator)
            menu.addSeparator();
        else if (item == recentFilesMenu)
            menu.addSubMenu ("Recent Files", recentMenu (recentFiles));
        else
            menu.addCommandItem (&commands, item); // adds nothing for a command that is not served
    }

    return menu;
}

} // namespace tessivar
