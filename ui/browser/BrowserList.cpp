#include "ui/browser/BrowserList.h"

#include "ui/FocusRings.h"
#include "ui/Motion.h"
#include "ui/Palette.h"

#include <algorithm>
#include <utility>

namespace tessivar
{
namespace
{

constexpr int dragThreshold = 6;  // pixels before a press becomes a drag
constexpr int leavingMargin = 12; // pixels around the browser in which a drag is still one of rows

std::vector<RowId> groupsOf (const std::vector<BrowserRow>& rows)
{
    std::vector<RowId> groups;
    for (const auto& row : rows)
        if (row.track == 0)
            groups.push_back (row.group);
    return groups;
}

} // namespace

BrowserList::BrowserList (const ResourceImages& imagesToUse) : images (imagesToUse)
{
    setTitle ("Groups and tracks");
    setWantsKeyboardFocus (true);
    wireRows();
}

void BrowserList::wireRows()
{
    callbacks.onPress = [this] (RowId group, RowId track, const juce::MouseEvent& event)
    { pressed (group, track, event); };
    callbacks.onDrag = [this] (RowId, RowId, const juce::MouseEvent& event) { dragged (event); };
    callbacks.onRelease = [this] (RowId group, RowId track, const juce::MouseEvent& event)
    { released (group, track, event); };
    callbacks.onMenu = [this] (RowId group, RowId track, juce::Point<int> place)
    {
        // A menu on a row outside the selection applies to that row alone.
        if (track == 0)
            choose (afterGroupClick (state, group));
        else if (! selection.contains (track))
            choose (afterTrackClick (state, selection, group, track, false, false));
        call (onMenu, group, track, place);
    };
    callbacks.onInclude = [this] (RowId track, bool included)
    { call (onInclude, actedOn (track), included); };
    callbacks.onType = [this] (RowId track, DrumType type) { call (onType, actedOn (track), type); };
    // What one track sounds like says nothing of the others that are selected.
    callbacks.onOfferAnswered = [this] (RowId track, DrumType type)
    { call (onType, std::vector<RowId>{ track }, type); };
    callbacks.onSolo = [this] (RowId track, bool solo) { call (onSolo, actedOn (track), solo); };
    callbacks.onMute = [this] (RowId track, bool mute) { call (onMute, actedOn (track), mute); };
    callbacks.onFader = [this] (RowId track, float levelDb) { call (onFader, track, levelDb); };
    callbacks.onLocate = [this] (RowId track) { call (onLocate, track); };
    callbacks.onFold = [this] (RowId group) { call (onFold, group); };
    callbacks.onDescribeType = [this] (RowId track)
    { return onDescribeType != nullptr ? onDescribeType (track) : juce::String(); };
    callbacks.onStopReading = [this] (RowId group) { call (onStopReading, group); };
    callbacks.onClose = [this] (RowId group) { call (onClose, group); };
    callbacks.onRename = [this] (RowId group, const juce::String& name) { call (onRename, group, name); };
}

std::vector<RowId> BrowserList::actedOn (RowId track) const
{
    return selection.contains (track) ? selection.tracks : std::vector<RowId>{ track };
}

void BrowserList::setState (const BrowserState& newState)
{
    state = newState;
    if (visibleRows (state, metrics) != shownRows)
        rebuildRows();
    else
        setSize (getWidth(), idealHeight());

    for (auto& row : rows)
        row->takeFrom (state);
    selection = withoutMissingRows (state, selection);
    showSelection();
}

void BrowserList::rebuildRows()
{
    endDrag();
    // Rows moved by folding glide; any other change is immediate.
    const auto before = std::exchange (shownRows, visibleRows (state, metrics));
    const auto glides = before.size() != shownRows.size() && groupsOf (before) == groupsOf (shownRows);
    // Rows that stay keep their components: a chooser may be open, or a name being edited.
    auto old = std::exchange (rows, {});
    for (const auto& place : shownRows)
    {
        const auto found = std::find_if (old.begin(),
                                         old.end(),
                                         [&] (const auto& row) {
                                             return row != nullptr && row->getGroup() == place.group
                                                    && row->getTrack() == place.track;
                                         });
        if (found != old.end())
            rows.push_back (std::move (*found));
        else if (place.track == 0)
            rows.push_back (std::make_unique<GroupRow> (callbacks, place.group));
        else if (place.reading)
            rows.push_back (std::make_unique<ReadingRow> (callbacks, place.group, place.track));
        else
            rows.push_back (std::make_unique<TrackRow> (images, callbacks, place.group, place.track));
        addAndMakeVisible (*rows.back());
    }
    for (auto& row : old)
        removeChildComponent (row.get());
    destroyLater (std::move (old));
    setSize (getWidth(), idealHeight());
    layOutRows (glides && ! motion::isReduced() && isShowing());
}

int BrowserList::idealHeight() const
{
    return std::max (totalHeight (state, metrics), view.getLength());
}

void BrowserList::setView (juce::Range<int> newView)
{
    if (view == newView)
        return;
    view = newView;
    setSize (getWidth(), idealHeight());
    placeGroupRows();
}

RowId BrowserList::groupSeenAt (int y) const
{
    for (const auto& row : rows)
        if (row->isGroup() && row->isVisible() && y >= row->getY() && y < row->getBottom())
            return row->getGroup();
    return groupAt (state, metrics, y);
}

void BrowserList::setSelection (const BrowserSelection& newSelection)
{
    selection = withoutMissingRows (state, newSelection);
    showSelection();
    scrollToLead();
}

void BrowserList::showSelection()
{
    for (auto& row : rows)
        row->setSelected (row->isGroup() ? selection.lead == 0 && row->getGroup() == selection.group
                                         : selection.contains (row->getTrack()),
                          row->getTrack() == selection.lead);
    if (hasKeyboardFocus (false))
        repaint();
}

void BrowserList::choose (const BrowserSelection& newSelection)
{
    if (newSelection == selection)
        return;
    selection = newSelection;
    showSelection();
    scrollToLead();
    call (onSelect, selection);
}

void BrowserList::scrollToLead()
{
    auto* viewport = findParentComponentOfClass<juce::Viewport>();
    if (viewport == nullptr)
        return;
    for (const auto& row : shownRows)
        if (row.group == selection.group && row.track == selection.lead)
        {
            // Group rows at the edges of the view hide what is behind them.
            const auto isTrack = row.track != 0;
            const auto isLast = row.group == shownRows.back().group;
            const auto top = row.top - (isTrack ? metrics.groupHeight : 0);
            const auto bottom = row.top + row.height + (isTrack && ! isLast ? metrics.groupHeight : 0);
            const auto area = viewport->getViewArea();
            if (top < area.getY())
                viewport->setViewPosition (0, top);
            else if (bottom > area.getBottom())
                viewport->setViewPosition (0, bottom - area.getHeight());
        }
}

void BrowserList::setCompact (bool compact)
{
    metrics = browserMetrics (compact);
    setState (state);
}

void BrowserList::setLevels (const std::vector<Level>& levels)
{
    for (const auto& level : levels)
        for (auto& row : rows)
            if (auto* track = dynamic_cast<TrackRow*> (row.get());
                track != nullptr && track->getTrack() == level.track)
                track->setLevels (level.source, level.kept);
}

void BrowserList::setExporting (const std::vector<RowId>& tracks, std::optional<float> share)
{
    for (auto& row : rows)
        if (auto* track = dynamic_cast<TrackRow*> (row.get());
            track != nullptr && std::find (tracks.begin(), tracks.end(), track->getTrack()) != tracks.end())
            track->setExporting (share);
}

void BrowserList::setReadFractions (const std::vector<ReadFraction>& fractions)
{
    for (auto& row : rows)
        if (row->isGroup())
            static_cast<GroupRow&> (*row).setFractions (fractions);
        else if (auto* file = dynamic_cast<ReadingRow*> (row.get()))
            for (const auto& each : fractions)
                if (each.id == file->getTrack())
                    file->setFraction (each.fraction);
}

void BrowserList::beginRename (RowId group)
{
    for (auto& row : rows)
        if (row->isGroup() && row->getGroup() == group)
            static_cast<GroupRow&> (*row).beginRename();
}

void BrowserList::pressed (RowId group, RowId track, const juce::MouseEvent& event)
{
    grabKeyboardFocus();
    if (track == 0)
    {
        choose (afterGroupClick (state, group));
        return;
    }
    const auto ctrl = event.mods.isCommandDown() || event.mods.isCtrlDown();
    const auto shift = event.mods.isShiftDown();
    // A press on one of several selected tracks may start a drag of all of them; a mere click selects it
    // alone on release.
    if (! ctrl && ! shift && selection.contains (track) && selection.tracks.size() > 1)
    {
        auto led = selection;
        led.lead = track;
        choose (led);
        return;
    }
    choose (afterTrackClick (state, selection, group, track, ctrl, shift));
}

void BrowserList::dragged (const juce::MouseEvent& event)
{
    if (selection.tracks.empty() || selection.lead == 0 || isDragDone)
        return;
    if (draggedTracks.empty())
    {
        if (event.getDistanceFromDragStart() < dragThreshold)
            return;
        draggedTracks = selection.tracks;
        for (auto& row : rows)
            row->setAlpha (selection.contains (row->getTrack()) ? 0.45f : 1.0f);
    }
    const auto here = event.getEventRelativeTo (this).getPosition();
    dropPlace = dropPlaceAt (state, metrics, here.y);
    // A Group row at an edge of the view stands for its Group, not for the tracks behind it.
    for (const auto& row : rows)
        if (const auto* group = findGroup (state, row->getGroup());
            row->isGroup() && group != nullptr && here.y >= row->getY() && here.y < row->getBottom())
            dropPlace = { group->id,
                          group->open ? 0 : static_cast<int> (group->tracks.size()),
                          row->getBottom() };
    if (auto* viewport = findParentComponentOfClass<juce::Viewport>())
    {
        const auto inView = event.getEventRelativeTo (viewport).getPosition();
        viewport->autoScroll (inView.x, inView.y, 24, 8);
        // Let go outside the list it changes nothing.
        if (! viewport->getLocalBounds().contains (inView))
            dropPlace.reset();
    }
    repaint();
    if (! isDragOut && hasLeft (event))
    {
        isDragOut = true;
        call (onDragOut, draggedTracks);
    }
}

/** Above and below the list a drag scrolls it: it leaves by the sides, or with the window. */
bool BrowserList::hasLeft (const juce::MouseEvent& event) const
{
    auto* window = getTopLevelComponent();
    auto* column = findParentComponentOfClass<juce::Viewport>();
    if (column == nullptr)
        return false;
    const auto isBeside = ! column->getLocalBounds()
                                .expanded (leavingMargin, 0)
                                .getHorizontalRange()
                                .contains (event.getEventRelativeTo (column).x);
    return isBeside || ! window->getLocalBounds().contains (event.getEventRelativeTo (window).getPosition());
}

void BrowserList::handOverDrag()
{
    endDrag();
    isDragDone = true;
}

void BrowserList::released (RowId group, RowId track, const juce::MouseEvent& event)
{
    const auto moved = draggedTracks;
    const auto place = dropPlace;
    endDrag();
    if (std::exchange (isDragOut, false))
        call (onDragOver);
    if (std::exchange (isDragDone, false))
        return;
    if (! moved.empty())
    {
        if (place.has_value())
            call (onMoveTracks, moved, place->group, place->index);
        return;
    }
    if (track != 0 && ! event.mods.isAnyModifierKeyDown() && selection.tracks.size() > 1
        && selection.contains (track))
        choose (afterTrackClick (state, selection, group, track, false, false));
}

void BrowserList::endDrag()
{
    if (draggedTracks.empty())
        return;
    draggedTracks.clear();
    dropPlace.reset();
    for (auto& row : rows)
        row->setAlpha (1.0f);
    repaint();
}

bool BrowserList::foldByKey (bool open)
{
    const auto* group = findGroup (state, selection.group);
    if (selection.lead != 0 || group == nullptr)
        return false;
    if (group->open != open)
        call (onFold, group->id);
    return true;
}

void BrowserList::openMenuByKey()
{
    for (const auto& row : shownRows)
        if (row.group == selection.group && row.track == selection.lead)
            return call (onMenu,
                         row.group,
                         row.track,
                         localPointToGlobal (juce::Point<int> (40, row.top + row.height / 2)));
}

bool BrowserList::keyPressed (const juce::KeyPress& key)
{
    const auto code = key.getKeyCode();
    const auto modifiers = key.getModifiers();
    const auto shift = modifiers.isShiftDown();
    const auto isArrow = code == juce::KeyPress::upKey || code == juce::KeyPress::downKey;
    if (code == juce::KeyPress::escapeKey && ! draggedTracks.empty())
    {
        handOverDrag(); // to nobody
        return true;
    }
    if (const auto* group = findGroup (state, selection.group);
        code == juce::KeyPress::escapeKey && group != nullptr && group->isReading())
    {
        call (onStopReading, group->id);
        return true;
    }
    if (code == juce::KeyPress::F10Key && shift)
    {
        openMenuByKey();
        return true;
    }
    // Other keys with modifiers are commands of the window.
    if (modifiers.isAltDown() || modifiers.isCtrlDown() || modifiers.isCommandDown())
        return false;
    if (isArrow)
    {
        choose (afterArrow (state, selection, code == juce::KeyPress::upKey ? -1 : 1, shift));
        repaint();
        return true;
    }
    if (code == juce::KeyPress::leftKey && ! shift)
        return foldByKey (false);
    if (code == juce::KeyPress::rightKey && ! shift)
        return foldByKey (true);
    if (code == juce::KeyPress::F2Key && selection.group != 0)
    {
        beginRename (selection.group);
        return true;
    }
    return false;
}

juce::Rectangle<int> BrowserList::seenBounds (std::size_t row) const
{
    return { 0, seenTop (shownRows, row, view), getWidth(), shownRows[row].height };
}

void BrowserList::layOutRows (bool animated)
{
    animator.cancelAllAnimations (false);
    for (std::size_t i = 0; i < rows.size(); ++i)
    {
        auto& row = *rows[i];
        const auto bounds = seenBounds (i);
        // A new row has no place to come from: the rows that move away uncover it.
        if (animated && ! row.getBounds().isEmpty() && row.getBounds() != bounds)
            animator.animateComponent (&row, bounds, 1.0f, motion::disclosureMs, false, 2.0, 0.0);
        else
            row.setBounds (bounds);
    }
    placeGroupRows();
}

void BrowserList::placeGroupRows()
{
    for (std::size_t i = 0; i < rows.size(); ++i)
    {
        if (! rows[i]->isGroup())
            continue;
        auto& row = static_cast<GroupRow&> (*rows[i]);
        row.toFront (false);
        if (animator.isAnimating (&row))
            continue;
        const auto bounds = seenBounds (i);
        row.setBounds (bounds);
        row.setPinned (bounds.getY() != shownRows[i].top);
    }
    repaint();
}

void BrowserList::paint (juce::Graphics& g)
{
    g.fillAll (palette::panel);
}

void BrowserList::paintOverChildren (juce::Graphics& g)
{
    if (dropPlace.has_value())
    {
        g.setColour (palette::ice);
        g.fillRect (0, juce::jlimit (0, std::max (0, getHeight() - 3), dropPlace->lineY - 2), getWidth(), 3);
    }
    g.setColour (palette::seam);
    for (const auto& row : rows)
        if (row->isGroup() && row->getY() > 0)
            g.fillRect (0, row->getY() - 1, getWidth(), 1);
    if (! areFocusRingsShown() || ! hasKeyboardFocus (false))
        return;
    g.setColour (palette::ice);
    for (const auto& row : rows)
        if (row->getTrack() == selection.lead && row->getGroup() == selection.group)
            g.drawRect (row->getBounds().withTrimmedBottom (1), 2);
}

std::unique_ptr<juce::AccessibilityHandler> BrowserList::createAccessibilityHandler()
{
    return std::make_unique<juce::AccessibilityHandler> (*this, juce::AccessibilityRole::list);
}

} // namespace tessivar
