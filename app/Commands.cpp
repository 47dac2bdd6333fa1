#include "app/Commands.h"

#include <utility>

namespace tessivar
{

Commands::Commands()
{
    commands.registerAllCommandsForTarget (this);
    commands.setFirstCommandTarget (this);
    setApplicationCommandManagerToWatch (&commands);
}

Commands::~Commands()
{
    setApplicationCommandManagerToWatch (nullptr);
}

void Commands::getAllCommands (juce::Array<juce::CommandID>& ids)
{
    for (const auto& entry : allVerbs())
        if (isServed (entry))
            ids.add (entry.number);
}

void Commands::getCommandInfo (juce::CommandID id, juce::ApplicationCommandInfo& info)
{
    const auto* entry = findCommand (id);

    if (entry == nullptr)
        return;

    const auto& deed = entryOf (entry->verb);
    info.setInfo (entry->name, entry->description, "General", 0);
    info.setActive (deed.canPerform == nullptr || targets == nullptr || deed.canPerform (targets()));

    if (entry->commandKey.isValid())
        info.defaultKeypresses.add (entry->commandKey);
}

bool Commands::perform (const InvocationInfo& info)
{
    if (const auto* const entry = findCommand (info.commandID))
        performLater (*entry);

    return true;
}

void Commands::performLater (const VerbEntry& entry)
{
    // A menu or a key press is still under way here.
    juce::MessageManager::callAsync (
        [self = juce::WeakReference<Commands> (this), &entry]
        {
            if (self != nullptr && self->onPerform)
                self->onPerform (entry);
        });
}

juce::PopupMenu Commands::getMenuForIndex (int index, const juce::String&)
{
    juce::PopupMenu menu, recent;

    for (const auto& line : menuLines (index))
        switch (line.kind)
        {
            case MenuLine::Kind::verb:
                if (const auto& entry = entryOf (line.verb); entry.number > 0)
                    // Adds nothing for a command that is not served.
                    menu.addCommandItem (&commands, entry.number);
                else
                    menu.addItem (menuBarItemFor (entry));

                break;
            case MenuLine::Kind::recentFiles:
                for (const auto& file : recentFiles ? recentFiles() : std::vector<RecentFile>())
                    recent.addItem (firstRecentFile + file.index, file.path);

                menu.addSubMenu ("Recent Files", recent);
                break;
            default:
                menu.addSeparator();
                break;
        }

    return menu;
}

juce::PopupMenu::Item Commands::menuBarItemFor (const VerbEntry& entry)
{
    auto item = targets ? menuItemFor (entry, targets()) : juce::PopupMenu::Item (entry.menuText);
    item.itemID = -1; // neither a command's nor a recent file's
    item.action = [self = juce::WeakReference<Commands> (this), &entry]
    {
        if (self != nullptr)
            self->performLater (entry);
    };
    return item;
}

void Commands::menuItemSelected (int itemId, int)
{
    if (itemId >= firstRecentFile && onRecentFile)
        onRecentFile (itemId - firstRecentFile);
}

void Commands::showMenu (std::span<const MenuLine> lines,
                         const VerbTargets& actedOn,
                         juce::Point<int> position,
                         std::function<void (const VerbEntry&)> onChosen)
{
    menuOf (lines, actedOn)
        .showMenuAsync (
            juce::PopupMenu::Options().withTargetScreenArea ({ position.x, position.y, 1, 1 }),
            [self = juce::WeakReference<Commands> (this), onChosen = std::move (onChosen)] (int item)
            {
                if (self != nullptr && item > 0)
                    onChosen (allVerbs()[static_cast<std::size_t> (item - 1)]);
            });
}

} // namespace tessivar
