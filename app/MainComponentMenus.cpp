#include "app/MainComponent.h"
#include "app/OpenExternally.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "ui/DrumLook.h"
#include "ui/Palette.h"

#include <algorithm>

namespace tessivar
{

namespace
{
enum MenuItem
{
    include = 1,
    copyAToB,
    copyBToA,
    applyToType,
    duplicate,
    exportIt,
    showSource,
    remove,
    rename,
    analyze,
    methodStandard,
    methodRefined,
    save,
    saveAs,
    closeIt,
    undoIt,
    redoIt,
    playAll,
    equalLoudness,
    solo,
    mute,
    firstType = 100
};

/** An entry with the key that does the same beside its words. */
juce::PopupMenu::Item entry (int id, const juce::String& text, const juce::KeyPress& key = {})
{
    juce::PopupMenu::Item item (text);
    item.itemID = id;
    item.shortcutKeyDescription = key.isValid() ? key.getTextDescription() : juce::String();
    return item;
}

void addUndoItems (juce::PopupMenu& menu, GroupHistory& undo)
{
    const auto named = [] (const char* action, const juce::String& what)
    { return what.isEmpty() ? juce::String (action) : action + (" " + what); };
    menu.addSeparator();
    menu.addItem (entry (undoIt, named ("Undo", undo.undoName()), keyOf (WindowKey::undo))
                      .setEnabled (undo.canUndo()));
    menu.addItem (entry (redoIt, named ("Redo", undo.redoName()), keyOf (WindowKey::redo))
                      .setEnabled (undo.canRedo()));
}

juce::PopupMenu typeMenu (DrumType current)
{
    juce::PopupMenu menu;

    for (int i = 0; i < static_cast<int> (drumTypeChooserOrder.size()); ++i)
    {
        const auto type = drumTypeChooserOrder[static_cast<std::size_t> (i)];
        auto item = entry (firstType + i, drumTypeDisplayName (type));
        item.shortcutKeyDescription = juce::String (i + 1); // see drumTypeIndexOf
        item.image = iconDrawable (drumIcon (type), 16.0f, drumColour (type));
        item.isTicked = type == current;
        menu.addItem (std::move (item));
    }

    return menu;
}

juce::PopupMenu trackMenu (const Track& track, const Player& player, GroupHistory& undo)
{
    const auto isWhole = player.playsWholeGroup();
    juce::PopupMenu menu;
    menu.addItem (entry (include, "Include in analysis", keyOf (WindowKey::includeOrExclude))
                      .setTicked (! track.isExcluded()));
    menu.addSubMenu ("Drum type", typeMenu (track.drumType()));
    menu.addSeparator();
    menu.addItem (copyAToB, "Copy A to B");
    menu.addItem (copyBToA, "Copy B to A");
    menu.addItem (applyToType, "Apply to all of this type");
    menu.addSeparator();
    menu.addItem (solo, "Solo in the group", isWhole, player.isSolo (track.id()));
    menu.addItem (mute, "Mute in the group", isWhole, player.isMuted (track.id()));
    menu.addItem (equalLoudness, "A and B equally loud", true, player.matchesLoudness());
    menu.addSeparator();
    menu.addItem (duplicate, "Duplicate track");
    menu.addItem (entry (
        exportIt, juce::String::fromUTF8 ("Export Track\xe2\x80\xa6"), keyOfAction (commandId::exportTrack)));
    menu.addItem (showSource, "Show source file", track.state().sourceFile.existsAsFile());
    menu.addSeparator();
    menu.addItem (
        entry (remove, "Remove from group", keyOf (WindowKey::removeTrack)).setColour (palette::danger));
    addUndoItems (menu, undo);
    return menu;
}

juce::PopupMenu groupMenu (Group& group, const Player& player)
{
    juce::PopupMenu menu, methods;
    methods.addItem (methodStandard, "Standard", true, group.method() == AnalysisMethod::standard);
    methods.addItem (
        methodRefined, "Refined, with a suggested Focus", true, group.method() == AnalysisMethod::refined);
    menu.addItem (entry (rename, "Rename", keyOf (WindowKey::renameGroup)));
    menu.addItem (playAll, "Play all tracks together", true, player.playsWholeGroup());
    menu.addSeparator();
    menu.addSubMenu ("Method of analysis", methods);
    menu.addItem (entry (analyze, "Analyze Group", keyOfAction (commandId::analyzeGroup)));
    menu.addItem (entry (
        exportIt, juce::String::fromUTF8 ("Export Group\xe2\x80\xa6"), keyOfAction (commandId::exportGroup)));
    menu.addSeparator();
    menu.addItem (entry (save, "Save Group", keyOfAction (commandId::saveGroup)));
    menu.addItem (entry (
        saveAs, juce::String::fromUTF8 ("Save Group as\xe2\x80\xa6"), keyOfAction (commandId::saveGroupAs)));
    menu.addSeparator();
    menu.addItem (closeIt, "Close group");
    addUndoItems (menu, group.undo());
    return menu;
}
} // namespace

void MainComponent::showTrackMenu (std::uint32_t trackId, juce::Point<int> position)
{
    const auto group = selectedGroup();
    const auto track = group != nullptr ? group->findTrack (trackId) : nullptr;

    if (track == nullptr || isBlocked())
        return;

    auto ids = chosenTracks();

    if (std::find (ids.begin(), ids.end(), trackId) == ids.end())
        ids = { trackId };

    auto menu = trackMenu (*track, player, group->undo());
    menu.showMenuAsync (
        juce::PopupMenu::Options().withTargetScreenArea ({ position.x, position.y, 1, 1 }),
        [this, group, track, ids, self = juce::Component::SafePointer<juce::Component> (this)] (int item)
        {
            if (self == nullptr || item == 0 || isBlocked())
                return;

            if (item >= firstType)
                group->setDrumType (ids, drumTypeChooserOrder[static_cast<std::size_t> (item - firstType)]);
            else if (item == include)
                group->setExcluded (ids, ! track->isExcluded());
            else if (item == copyAToB || item == copyBToA)
                group->copyKnobs (ids, item == copyAToB ? KnobSetting::a : KnobSetting::b);
            else if (item == duplicate)
                group->duplicateTrack (track->id());
            else if (item == exportIt)
                work.exportTrack (group, track);
            else if (item == showSource)
                showFolder (track->state().sourceFile.getParentDirectory());
            else if (item == remove)
                removeTracks (ids);
            else if (item == undoIt || item == redoIt)
                undo (item == redoIt);
            else if (item == solo)
                player.setSolo (track->id(), ! player.isSolo (track->id()));
            else if (item == mute)
                player.setMute (track->id(), ! player.isMuted (track->id()));
            else if (item == equalLoudness)
                player.setMatchesLoudness (! player.matchesLoudness());
            else if (item == applyToType)
            {
                std::vector<std::uint32_t> alike;

                for (int i = 0; i < group->numTracks(); ++i)
                    if (group->track (i)->drumType() == track->drumType())
                        alike.push_back (group->track (i)->id());

                group->setKnobs (alike, track->selectedSetting(), track->soundingKnobs());
            }

            refresh();
        });
}

void MainComponent::showGroupMenu (const Group::Ptr& group, juce::Point<int> position)
{
    if (isBlocked())
        return;

    auto menu = groupMenu (*group, player);
    menu.showMenuAsync (juce::PopupMenu::Options().withTargetScreenArea ({ position.x, position.y, 1, 1 }),
                        [this, group, self = juce::Component::SafePointer<juce::Component> (this)] (int item)
                        {
                            if (self == nullptr || item == 0 || isBlocked())
                                return;

                            workspace.selectGroup (workspace.indexOf (group.get()));

                            switch (item)
                            {
                                case rename:
                                    browser.getList().beginRename (BrowserPresenter::rowOf (*group));
                                    break;
                                case methodStandard:
                                case methodRefined:
                                    group->setMethod (item == methodRefined ? AnalysisMethod::refined
                                                                            : AnalysisMethod::standard);
                                    break;
                                case playAll:
                                    player.setPlaysWholeGroup (! player.playsWholeGroup());
                                    break;
                                case analyze:
                                    work.analyze (group);
                                    break;
                                case exportIt:
                                    work.exportGroups (ExportScope::group, group);
                                    break;
                                case save:
                                    work.save (group);
                                    break;
                                case saveAs:
                                    work.saveAs (group);
                                    break;
                                case closeIt:
                                    work.close (group);
                                    break;
                                case undoIt:
                                case redoIt:
                                    undo (item == redoIt);
                                    break;
                                default:
                                    break;
                            }

                            refresh();
                        });
}

} // namespace tessivar
