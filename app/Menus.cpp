#include "app/Menus.h"

#include "ui/DrumDrawing.h"
#include "ui/Palette.h"

namespace tessivar
{

namespace
{
using V = Verb;

constexpr auto separator = MenuLine::Kind::separator, recentFiles = MenuLine::Kind::recentFiles,
               drumTypes = MenuLine::Kind::drumTypes, methods = MenuLine::Kind::methods,
               presets = MenuLine::Kind::presets;

// clang-format off
const std::vector<MenuLine> menus[] = {
    { V::newGroup, V::openGroups, separator, recentFiles, separator, V::saveGroup, V::saveGroupAs,
      V::saveAllGroups, V::closeAllGroups, separator, V::settings, separator, V::quit },
    { V::importTracks, V::importFolders, V::importFromGroup },
    { V::analyzeGroup, V::analyzeGroups },
    { V::exportTrack, V::exportGroup, V::exportAllGroups, separator, V::exportReport },
    { V::about, V::quickStartGuide, V::documentation, V::onlineHelp },
};

const std::vector<MenuLine> trackMenu{
    V::includeOrExclude, drumTypes, separator, V::copyAToB, V::copyBToA, V::applyToType,
    V::copySettings, V::pasteSettings, presets, separator,
    V::playWholeGroup, V::solo, V::mute, separator, V::equalLoudness, V::blindTest, V::showOrHideSpectrum,
    separator,
    V::duplicateTrack, V::exportTrack, V::showSource, V::locateSource,
    separator, V::removeTrack, separator, V::undo, V::redo };

const std::vector<MenuLine> groupMenu{
    V::renameGroup, V::playWholeGroup, V::bleedMap, separator, methods, V::analyzeGroup, V::exportGroup,
    separator,
    V::saveGroup, V::saveGroupAs, separator, V::closeSelectedGroup, separator, V::undo, V::redo };

const std::vector<MenuLine> presetMenu{
    V::applyPreset, V::savePreset, V::presetForNewTracks, separator, V::forgetPreset };
// clang-format on

constexpr MenuLine methodMenu[] = { V::methodStandard, V::methodRefined };

juce::PopupMenu typeMenu (const VerbTargets& targets)
{
    juce::PopupMenu menu;

    for (const auto& entry : allVerbs())
        if (entry.type)
            menu.addItem (menuItemFor (entry, targets));

    return menu;
}
} // namespace

juce::StringArray menuNames()
{
    return { "File", "Import", "Analyze", "Export", "Help" };
}

std::span<const MenuLine> menuLines (int menuIndex)
{
    return juce::isPositiveAndBelow (menuIndex, std::ssize (menus)) ? menus[menuIndex]
                                                                    : std::span<const MenuLine>();
}

std::span<const MenuLine> trackMenuLines()
{
    return trackMenu;
}

std::span<const MenuLine> groupMenuLines()
{
    return groupMenu;
}

std::span<const MenuLine> presetMenuLines()
{
    return presetMenu;
}

juce::PopupMenu::Item menuItemFor (const VerbEntry& entry, const VerbTargets& targets)
{
    juce::PopupMenu::Item item (entry.menuText.isNotEmpty() ? entry.menuText : entry.name);
    item.itemID = 1 + static_cast<int> (&entry - allVerbs().data());
    item.isEnabled = entry.canPerform == nullptr || entry.canPerform (targets);

    if (const auto key = entry.type ? entry.windowKeys.front() : shownKeyOf (entry.verb); key.isValid())
        item.shortcutKeyDescription = key.getTextDescription();

    if (entry.object != nullptr)
        item.text = (item.text + " " + entry.object (targets)).trimEnd();

    if (entry.isTicked != nullptr && targets.group() != nullptr)
        item.isTicked = entry.isTicked (targets);

    if (entry.isDangerous)
        item.colour = palette::danger;

    if (entry.type)
    {
        item.image = iconDrawable (drumIcon (*entry.type), 16.0f, drumColour (*entry.type));
        item.isTicked = targets.track() != nullptr && targets.track()->drumType() == *entry.type;
    }

    return item;
}

juce::PopupMenu menuOf (std::span<const MenuLine> lines, const VerbTargets& targets)
{
    juce::PopupMenu menu;

    for (const auto& line : lines)
        switch (line.kind)
        {
            case MenuLine::Kind::verb:
                menu.addItem (menuItemFor (entryOf (line.verb), targets));
                break;
            case MenuLine::Kind::drumTypes:
                menu.addSubMenu ("Drum type", typeMenu (targets));
                break;
            case MenuLine::Kind::methods:
                menu.addSubMenu ("Method of analysis", menuOf (methodMenu, targets));
                break;
            case MenuLine::Kind::presets:
                menu.addSubMenu ("Preset", menuOf (presetMenu, targets));
                break;
            default:
                menu.addSeparator();
                break;
        }

    return menu;
}

} // namespace tessivar
