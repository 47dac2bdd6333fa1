#include "app/MainComponent.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr float nudge = 0.01f, coarseNudge = 0.05f;
constexpr double playheadStep = 0.1, coarsePlayheadStep = 1.0; // s
} // namespace

bool MainComponent::keyPressed (const juce::KeyPress& key)
{
    // Text fields have taken their keys by now; a dialog keeps the window's from working.
    if (isBlocked())
    {
        if (! quitInSpiteOfDialog (key))
            giveToDialog (key);

        return ! key.isKeyCode (juce::KeyPress::tabKey); // the toolkit's: the next control of the dialog
    }

    if (const auto windowKey = windowKeyFor (key))
    {
        performKey (*windowKey, key);
        return true;
    }

    return false;
}

bool MainComponent::quitInSpiteOfDialog (const juce::KeyPress& key)
{
    if (! isBlocked() || commands.manager().getKeyMappings()->findCommandForKeyPress (key) != commandId::quit)
        return false;

    performAction (commandId::quit);
    return true;
}

void MainComponent::giveToDialog (const juce::KeyPress& key)
{
    auto* dialog = scrim.getTop();

    // One that came before the window had the focus, or while another window had it, is without it.
    if (dialog == nullptr || dialog->hasKeyboardFocus (true))
        return;

    dialog->takeFirstFocus();
    auto* focused = juce::Component::getCurrentlyFocusedComponent();

    if (! (focused != nullptr && dialog->isParentOf (focused) && focused->keyPressed (key)))
        dialog->keyPressed (key);
}

void MainComponent::takeFocus()
{
    if (auto* dialog = scrim.getTop())
        dialog->takeFirstFocus();
    else
        grabKeyboardFocus();
}

void MainComponent::performKey (WindowKey key, const juce::KeyPress& press)
{
    const auto group = selectedGroup();
    const auto track = selectedTrack();
    const auto toggled = [this] (ListenMode mode)
    { return listenMode == mode ? ListenMode::processed : mode; };

    switch (key)
    {
        case WindowKey::playOrStop:
            performAction (commandId::playStop);
            break;
        case WindowKey::toggleSetting:
        case WindowKey::toggleSettingOfGroup:
            if (track != nullptr)
                chooseSetting (otherSetting (track->selectedSetting()),
                               key == WindowKey::toggleSettingOfGroup);
            break;
        case WindowKey::bypass:
            setListening (toggled (ListenMode::bypass));
            break;
        case WindowKey::removed:
            setListening (toggled (ListenMode::removed));
            break;
        case WindowKey::focusUp:
            nudgeKnob (true, nudge);
            break;
        case WindowKey::focusDown:
            nudgeKnob (true, -nudge);
            break;
        case WindowKey::focusUpCoarse:
            nudgeKnob (true, coarseNudge);
            break;
        case WindowKey::focusDownCoarse:
            nudgeKnob (true, -coarseNudge);
            break;
        case WindowKey::fineUp:
            nudgeKnob (false, nudge);
            break;
        case WindowKey::fineDown:
            nudgeKnob (false, -nudge);
            break;
        case WindowKey::fineUpCoarse:
            nudgeKnob (false, coarseNudge);
            break;
        case WindowKey::fineDownCoarse:
            nudgeKnob (false, -coarseNudge);
            break;
        case WindowKey::typeFocus:
            dock.getFocus().typeValue();
            break;
        case WindowKey::typeFine:
            dock.getFine().typeValue();
            break;
        case WindowKey::resetKnobs:
            resetKnobs();
            break;
        case WindowKey::copySetting:
            copySetting();
            break;
        case WindowKey::zoomIn:
            wave.zoomHorizontally (1);
            break;
        case WindowKey::zoomOut:
            wave.zoomHorizontally (-1);
            break;
        case WindowKey::zoomInVertically:
            wave.zoomVertically (1);
            break;
        case WindowKey::zoomOutVertically:
            wave.zoomVertically (-1);
            break;
        case WindowKey::fit:
            wave.fit();
            break;
        case WindowKey::zoomToSelection:
            wave.zoomToSelection();
            break;
        case WindowKey::previousTrack:
            stepTrack (-1);
            break;
        case WindowKey::nextTrack:
            stepTrack (1);
            break;
        case WindowKey::previousGroup:
            stepGroup (-1);
            break;
        case WindowKey::nextGroup:
            stepGroup (1);
            break;
        case WindowKey::drumType:
            if (group != nullptr)
                group->setDrumType (chosenTracks(),
                                    drumTypeChooserOrder[static_cast<std::size_t> (drumTypeIndexOf (press))]);
            break;
        case WindowKey::includeOrExclude:
            if (track != nullptr)
                group->setExcluded (chosenTracks(), ! track->isExcluded());
            break;
        case WindowKey::removeTrack:
            removeTracks (chosenTracks());
            break;
        case WindowKey::renameGroup:
            if (group != nullptr)
                browser.getList().beginRename (BrowserPresenter::rowOf (*group));
            break;
        case WindowKey::nudgeBack:
            seek (player.position() - playheadStep);
            break;
        case WindowKey::nudgeForward:
            seek (player.position() + playheadStep);
            break;
        case WindowKey::nudgeBackCoarse:
            seek (player.position() - coarsePlayheadStep);
            break;
        case WindowKey::nudgeForwardCoarse:
            seek (player.position() + coarsePlayheadStep);
            break;
        case WindowKey::toStart:
            seek (0.0);
            break;
        case WindowKey::toEnd:
            seek (player.duration());
            break;
        case WindowKey::loop:
            setLooping (! looping);
            break;
        case WindowKey::loopIn:
            wave.setLoopStartToPlayhead();
            break;
        case WindowKey::loopOut:
            wave.setLoopEndToPlayhead();
            break;
        case WindowKey::follow:
            transport.onFollow (! following);
            break;
        case WindowKey::fullScreen:
            performAction (commandId::toggleFullscreen);
            break;
        case WindowKey::nextArea:
            moveToArea (1);
            break;
        case WindowKey::previousArea:
            moveToArea (-1);
            break;
        case WindowKey::contextMenu:
            if (track != nullptr)
                showTrackMenu (track->id(), browser.getScreenBounds().getCentre());
            break;
        case WindowKey::escape:
            wave.clearSelection();
            break;
        case WindowKey::undo:
            undo (false);
            break;
        case WindowKey::redo:
            undo (true);
            break;
    }
}

void MainComponent::moveToArea (int step)
{
    std::vector<juce::Component*> areas;

    for (auto* area : std::initializer_list<juce::Component*>{ &browser, &empty, &wave, &dock, &transport })
        if (area->isShowing())
            areas.push_back (area);

    const auto count = static_cast<int> (areas.size());
    const auto here =
        std::find_if (areas.begin(),
                      areas.end(),
                      [] (const juce::Component* area) { return area->hasKeyboardFocus (true); });
    auto index = here != areas.end() ? static_cast<int> (here - areas.begin()) : (step > 0 ? -1 : count);

    // An area in which nothing can be used right now is passed over.
    for (int tries = 0; tries < count; ++tries)
    {
        index = (index + step + count) % count;
        auto* area = areas[static_cast<std::size_t> (index)];

        if (area == &browser && browser.getList().isShowing())
            browser.getList().grabKeyboardFocus();
        else
            area->grabKeyboardFocus();

        if (area->hasKeyboardFocus (true))
            return;
    }
}

} // namespace tessivar
