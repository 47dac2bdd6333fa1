#pragma once

#include "app/Menus.h"

#include <functional>
#include <vector>

namespace tessivar
{

/** The table of verbs as the framework wants it: numbered commands with their keys, the menu bar, and the
    menus of tracks and Groups. What a verb does is the owner's.
*/
class Commands : public juce::ApplicationCommandTarget, public juce::MenuBarModel
{
public:
    Commands();
    ~Commands() override;

    /** Does what a verb does. Called when whatever invoked it has returned, so that it may open dialogs. */
    std::function<void (const VerbEntry&)> onPerform;

    /** What the verbs act on now, for greyed and ticked entries; without it all are active and none is
        ticked.
    */
    std::function<VerbTargets()> targets;

    /** Paths that the "Recent Files" submenu offers, by their index in the list of recent files. */
    struct RecentFile
    {
        int index = 0;
        juce::String path;
    };
    std::function<std::vector<RecentFile>()> recentFiles;
    std::function<void (int index)> onRecentFile;

    static constexpr int firstRecentFile = 113; // this number and all above stand for recent files

    [[nodiscard]] juce::ApplicationCommandManager& manager() { return commands; }

    /** After what the verbs act on has changed. */
    void refresh() { commands.commandStatusChanged(); }

    /** A menu that opens at a place on the screen; onChosen is told what was chosen. */
    void showMenu (std::span<const MenuLine> lines,
                   const VerbTargets& targets,
                   juce::Point<int> position,
                   std::function<void (const VerbEntry&)> onChosen);

    juce::ApplicationCommandTarget* getNextCommandTarget() override { return nullptr; }
    void getAllCommands (juce::Array<juce::CommandID>& ids) override;
    void getCommandInfo (juce::CommandID id, juce::ApplicationCommandInfo& info) override;
    bool perform (const InvocationInfo& info) override;

    juce::StringArray getMenuBarNames() override { return menuNames(); }
    juce::PopupMenu getMenuForIndex (int index, const juce::String& name) override;
    void menuItemSelected (int itemId, int menuIndex) override;

private:
    void performLater (const VerbEntry& entry);

    /** An entry of the menu bar that is no command of the framework. */
    [[nodiscard]] juce::PopupMenu::Item menuBarItemFor (const VerbEntry& entry);

    juce::ApplicationCommandManager commands;

    JUCE_DECLARE_WEAK_REFERENCEABLE (Commands)
    JUCE_DECLARE_NON_COPYABLE (Commands)
};

} // namespace tessivar
