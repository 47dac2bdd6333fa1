#include "app/CommandCentre.h"

namespace tessivar
{

CommandCentre::CommandCentre()
{
    commands.registerAllCommandsForTarget (this);
    commands.setFirstCommandTarget (this);
    setApplicationCommandManagerToWatch (&commands);
}

CommandCentre::~CommandCentre()
{
    setApplicationCommandManagerToWatch (nullptr);
}

void CommandCentre::refresh()
{
    commands.commandStatusChanged();
}

void CommandCentre::getAllCommands (juce::Array<juce::CommandID>& ids)
{
    for (const auto id : servedCommands())
        ids.add (id);
}

void CommandCentre::getCommandInfo (juce::CommandID id, juce::ApplicationCommandInfo& info)
{
    describeCommand (id, info);
    info.setActive (isActive == nullptr || isActive (actionOf (id)));
}

bool CommandCentre::perform (const InvocationInfo& info)
{
    const auto action = actionOf (info.commandID);

    // A menu or a key press is still under way here.
    juce::MessageManager::callAsync (
        [self = juce::WeakReference<CommandCentre> (this), action]
        {
            if (self != nullptr && self->onPerform)
                self->onPerform (action);
        });
    return true;
}

juce::PopupMenu CommandCentre::getMenuForIndex (int index, const juce::String&)
{
    return menuFor (index, commands, recentFiles ? recentFiles() : std::vector<RecentMenuEntry>());
}

void CommandCentre::menuItemSelected (int itemId, int)
{
    if (itemId >= commandId::firstRecentFile && onRecentFile)
        onRecentFile (itemId - commandId::firstRecentFile);
}

} // namespace tessivar
