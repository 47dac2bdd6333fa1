#pragma once

#include "app/Commands.h"

#include <functional>

namespace tessivar
{

/** The numbered commands as the framework's target, and the menu bar made of them. What a command does is the owner's. */
class CommandCentre : public juce::ApplicationCommandTarget, public juce::MenuBarModel
{
public:
    CommandCentre();
    ~CommandCentre() override;

    /** Performs the action of a command: pairs are one action. Called when whatever invoked it has returned, so that it may
        open dialogs.
    */
    std::function<void (int action)> onPerform;

    /** Whether a command can be used at the moment; all can when this is empty. */
    std::function<bool (int action)> isActive;

    std::function<std::vector<RecentMenuEntry>()> recentFiles;
    std::function<void (int index)> onRecentFile;

    [[nodiscard]] juce::ApplicationCommandManager& manager() { return commands; }

    /** After what isActive() answers has changed. */
    void refresh();

    juce::ApplicationCommandTarget* getNextCommandTarget() override { return nullptr; }
    void getAllCommands (juce::Array<juce::CommandID>& ids) override;
    void getCommandInfo (juce::CommandID id, juce::ApplicationCommandInfo& info) override;
    bool perform (const InvocationInfo& info) override;

    juce::StringArray getMenuBarNames() override { return menuNames(); }
    juce::PopupMenu getMenuForIndex (int index, const juce::String& name) override;
    void menuItemSelected (int itemId, int menuIndex) override;

private:
    juce::ApplicationCommandManager commands;

    JUCE_DECLARE_WEAK_REFERENCEABLE (CommandCentre)
    JUCE_DECLARE_NON_COPYABLE (CommandCentre)
};

} // namespace tessivar
