#include "app/MainComponent.h"
#include "app/OpenExternally.h"

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

void addUndoItems (juce::PopupMenu& menu, juce::UndoManager& undo)
{
    menu.addSeparator();
    menu.addItem (
        undoIt, undo.canUndo() ? "Undo " + undo.getUndoDescription() : juce::String ("Undo"), undo.canUndo());
    menu.addItem (
        redoIt, undo.canRedo() ? "Redo " + undo.getRedoDescription() : juce::String ("Redo"), undo.canRedo());
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

    juce::PopupMenu menu, types;

    for (int i = 0; i < static_cast<int> (drumTypeChooserOrder.size()); ++i)
    {
        const auto type = drumTypeChooserOrder[static_cast<std::size_t> (i)];
        types.addItem (firstType + i, drumTypeDisplayName (type), true, track->drumType() == type);
    }

    const auto hasSource = track->state().sourceFile.existsAsFile();
    menu.addItem (include, "Include in analysis", true, ! track->isExcluded());
    menu.addSubMenu ("Drum type", types);
    menu.addSeparator();
    menu.addItem (copyAToB, "Copy A to B");
    menu.addItem (copyBToA, "Copy B to A");
    menu.addItem (applyToType, "Apply to all of this type");
    menu.addItem (duplicate, "Duplicate track");
    menu.addSeparator();
    menu.addItem (solo, "Solo in the group", player.playsWholeGroup(), player.isSolo (trackId));
    menu.addItem (mute, "Mute in the group", player.playsWholeGroup(), player.isMuted (trackId));
    menu.addItem (equalLoudness, "A and B equally loud", true, player.matchesLoudness());
    menu.addSeparator();
    menu.addItem (exportIt, juce::String::fromUTF8 ("Export Track\xe2\x80\xa6"));
    menu.addItem (showSource, "Show source file", hasSource);
    menu.addItem (remove, "Remove from group");
    addUndoItems (menu, group->undo());

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

    juce::PopupMenu menu, methods;
    methods.addItem (methodStandard, "Standard", true, group->method() == SeparationMethod::standard);
    methods.addItem (
        methodRefined, "Refined, with a suggested Focus", true, group->method() == SeparationMethod::refined);
    menu.addItem (rename, "Rename");
    menu.addSubMenu ("Method of analysis", methods);
    menu.addItem (playAll, "Play all tracks together", true, player.playsWholeGroup());
    menu.addItem (analyze, "Analyze Group");
    menu.addItem (exportIt, juce::String::fromUTF8 ("Export Group\xe2\x80\xa6"));
    menu.addSeparator();
    menu.addItem (save, "Save Group");
    menu.addItem (saveAs, juce::String::fromUTF8 ("Save Group as\xe2\x80\xa6"));
    menu.addItem (closeIt, "Close group");
    addUndoItems (menu, group->undo());

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
                                    group->setMethod (item == methodRefined ? SeparationMethod::refined
                                                                            : SeparationMethod::standard);
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
