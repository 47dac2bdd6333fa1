#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <span>

namespace tessivar
{

/** Numbers of the commands. Pairs perform the same action: the first is the menu's, the second carries the key. */
namespace commandId
{
enum Id : int
{
    newGroup = 16,
    openGroups = 17,
    saveGroup = 18,
    saveGroupAs = 19,
    saveAllGroups = 20,
    closeAllGroups = 21,
    settings = 22,
    quit = 23,
    importTracks = 33,
    importFolders = 34,
    importFromGroup = 35,
    importTracksByKey = 36,
    importFoldersByKey = 37,
    importFromGroupByKey = 38,
    analyzeGroup = 49,
    analyzeGroups = 50,
    exportTrack = 65,
    exportGroup = 66,
    exportAllGroups = 67,
    exportTrackByKey = 68,
    exportGroupByKey = 69,
    exportAllGroupsByKey = 70,
    quickStartGuide = 81,
    documentation = 82,
    onlineHelp = 83,
    about = 84,
    playStop = 97,
    warnings = 98,
    filesDropped = 99,
    closeSelectedGroup = 100,
    toggleFullscreen = 101,
    toggleSetting = 102,

    firstRecentFile = 113 // plus the entry's index; everything above is a recent file
};
} // namespace commandId

struct CommandEntry
{
    int id = 0;
    const char* name = "";
    const char* description = "";
    int key = 0; // a letter, with the command modifier; 0: none
    bool withShift = false;
};

/** Every command, in order of the numbers. "Save Group" is described as "Save Track", and two commands claim one key:
    both are intended.
*/
[[nodiscard]] std::span<const CommandEntry> commandEntries();
[[nodiscard]] const CommandEntry* findCommandEntry (int id);

/** The key that performs a command's action, its own or that of its pair; not a valid key where there is none. */
[[nodiscard]] juce::KeyPress keyOfAction (int commandId);

/** The commands that the main component serves, in this order: all but "Close All Groups", which is described and in the
    File menu's list, but not served; so the framework neither shows it nor binds its key.
*/
[[nodiscard]] std::span<const int> servedCommands();

/** What a command is to the framework. */
void describeCommand (int id, juce::ApplicationCommandInfo& info);

/** The command whose action this one performs: the menu's of a pair. */
[[nodiscard]] int actionOf (int commandId);

/** The five menus. */
[[nodiscard]] juce::StringArray menuNames();

/** Paths that the "Recent Files" submenu offers, by their index in the list of recent files. */
struct RecentMenuEntry
{
    int index = 0;
    juce::String path;
};

[[nodiscard]] juce::PopupMenu menuFor (int menuIndex,
                                       juce::ApplicationCommandManager& commands,
                                       const std::vector<RecentMenuEntry>& recentFiles);

} // namespace tessivar
