#include "ui/bleed/BleedView.h"

#include "ui/Call.h"
#include "ui/FocusRings.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/SpokenValue.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr int inset = 12, titleHeight = 44, columnHead = 42, stripHeight = 70;
constexpr int smallestWidth = 36, largestWidth = 128, smallestHeight = 20, largestHeight = 48;
constexpr int twoLines = 36; // of a cell's height that shows both levels
constexpr int wideName = 56; // of a column that has its name
constexpr int leastHead = 96, headIcon = 24;
constexpr float wheelRows = 6.0f;

/** Names one cell by where it stands. */
BleedView::Place clampedTo (BleedView::Place place, int count)
{
    const auto last = std::max (0, count - 1);
    return { juce::jlimit (0, last, place.x), juce::jlimit (0, last, place.y) };
}

std::size_t indexOf (int position)
{
    return static_cast<std::size_t> (position);
}
} // namespace

BleedView::BleedView()
{
    setOpaque (true);
    setWantsKeyboardFocus (true);
    setTitle ("Bleed map");
    setDescription ("How loud each drum arrives in each microphone");

    for (auto* child : std::initializer_list<juce::Component*>{ &before, &after, &closeButton, &analyze })
        addAndMakeVisible (child);

    before.setTooltip ("The levels in the sources, mostly true to 2 or 3 dB");
    after.setTooltip ("The levels with the knobs as they stand: a rough estimate, true to about 4 dB");
    closeButton.setTooltip ("Back to the waveform [M]");
    before.onClick = [this] { setAfter (false); };
    after.onClick = [this] { setAfter (true); };
    closeButton.onClick = [this] { call (onClosed); };
    analyze.onClick = [this] { call (onAnalyze); };
    setAfter (false);
}

void BleedView::setAfter (bool shouldShowAfter)
{
    before.setToggleState (! shouldShowAfter, juce::dontSendNotification);
    after.setToggleState (shouldShowAfter, juce::dontSendNotification);
    repaint();
}

void BleedView::setState (BleedState newState)
{
    // The cell of a track that is selected elsewhere is its own drum's.
    const auto isNewTrack = newState.selectedTrack != state.selectedTrack;
    state = std::move (newState);
    pointedAt.reset();

    if (isNewTrack && hasMap())
        if (const auto track =
                std::find_if (state.drums.begin(),
                              state.drums.end(),
                              [this] (const auto& drum) { return drum.trackId == state.selectedTrack; });
            track != state.drums.end())
            if (const auto row = static_cast<int> (track - state.drums.begin()); row != selected.y)
                selected = { row, row };

    selected = clampedTo (selected, numDrums());
    before.setVisible (hasMap());
    after.setVisible (hasMap());
    analyze.setButtonText (state.buttonText);
    analyze.setVisible (state.buttonText.isNotEmpty());
    resized();
    repaint();
}

//============================================================================================================
// Layout

juce::Rectangle<int> BleedView::grid() const
{
    return getLocalBounds()
        .reduced (inset, 0)
        .withTrimmedTop (titleHeight + stripHeight + columnHead)
        .withTrimmedBottom (inset)
        .withTrimmedLeft (headWidth);
}

void BleedView::resized()
{
    auto title = getLocalBounds().removeFromTop (titleHeight).reduced (inset, 8);
    closeButton.setBounds (title.removeFromRight (28));
    title.removeFromRight (8);

    for (auto* button : { &after, &before })
        button->setBounds (title.removeFromRight (button->idealWidth()));

    analyze.setBounds (getLocalBounds().withSizeKeepingCentre (analyze.idealWidth(), 36).translated (0, 44));

    // As wide as the longest name, or the names of two toms may look the same.
    const auto nameFont = fonts::inter (12.0f, fonts::Weight::semibold);
    auto longest = 0;

    for (const auto& drum : state.drums)
        longest = std::max (longest, nameFont.getStringWidth (drum.name));

    headWidth = juce::jlimit (leastHead, std::max (leastHead, getWidth() / 5), longest + headIcon + 12);

    if (hasMap())
    {
        const auto room = grid();
        cellWidth = juce::jlimit (smallestWidth, largestWidth, room.getWidth() / numDrums());
        cellHeight = juce::jlimit (smallestHeight, largestHeight, room.getHeight() / numDrums());
    }

    scrollTo (firstShown);
}

juce::Rectangle<int> BleedView::cellBounds (Place cell) const
{
    const auto room = grid();
    const juce::Rectangle<int> bounds (room.getX() + (cell.x - firstShown.x) * cellWidth,
                                       room.getY() + (cell.y - firstShown.y) * cellHeight,
                                       cellWidth,
                                       cellHeight);
    return room.contains (bounds) ? bounds : juce::Rectangle<int>();
}

std::optional<BleedView::Place> BleedView::cellAt (juce::Point<int> position) const
{
    const auto room = grid();

    if (! hasMap() || ! room.contains (position))
        return {};

    const Place cell ((position.x - room.getX()) / cellWidth + firstShown.x,
                      (position.y - room.getY()) / cellHeight + firstShown.y);
    return cell.x < numDrums() && cell.y < numDrums() && ! cellBounds (cell).isEmpty() ? std::optional (cell)
                                                                                       : std::nullopt;
}

void BleedView::scrollTo (Place first)
{
    const auto room = grid();
    const auto most = [this] (int space, int size)
    { return std::max (0, numDrums() - std::max (1, space / size)); };
    firstShown = { juce::jlimit (0, most (room.getWidth(), cellWidth), first.x),
                   juce::jlimit (0, most (room.getHeight(), cellHeight), first.y) };
    repaint();
}

void BleedView::moveTo (Place cell)
{
    selected = clampedTo (cell, numDrums());
    const auto room = grid();
    const auto shown = [] (int first, int position, int count)
    { return juce::jlimit (position - std::max (1, count) + 1, position, first); };
    scrollTo ({ shown (firstShown.x, selected.x, room.getWidth() / cellWidth),
                shown (firstShown.y, selected.y, room.getHeight() / cellHeight) });

    if (auto* handler = getAccessibilityHandler())
        handler->notifyAccessibilityEvent (juce::AccessibilityEvent::valueChanged);
}

//============================================================================================================
// Keys and mouse

void BleedView::choose (Place cell)
{
    moveTo (cell);
    call (onChosen, indexOf (cell.y), indexOf (cell.x));
}

bool BleedView::keyPressed (const juce::KeyPress& key)
{
    using Key = juce::KeyPress;

    if (key == Key (Key::escapeKey))
    {
        call (onClosed);
        return true;
    }

    if (! hasMap())
        return false;

    for (const auto& [code, step] : { std::pair{ Key::leftKey, Place (-1, 0) },
                                      std::pair{ Key::rightKey, Place (1, 0) },
                                      std::pair{ Key::upKey, Place (0, -1) },
                                      std::pair{ Key::downKey, Place (0, 1) } })
        if (key == Key (code))
        {
            pointedAt.reset();
            moveTo (selected + step);
            return true;
        }

    if (key == Key (Key::returnKey))
    {
        choose (selected);
        return true;
    }

    return false;
}

void BleedView::mouseMove (const juce::MouseEvent& event)
{
    if (const auto cell = cellAt (event.getPosition()); cell != pointedAt)
    {
        pointedAt = cell;
        repaint();
    }
}

void BleedView::mouseExit (const juce::MouseEvent&)
{
    pointedAt.reset();
    repaint();
}

void BleedView::mouseUp (const juce::MouseEvent& event)
{
    const auto cell = cellAt (event.getPosition());

    if (cell && cell == cellAt (event.getMouseDownPosition()) && ! event.mods.isPopupMenu())
        choose (*cell);
}

void BleedView::mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel)
{
    const auto steps = [] (float delta) { return juce::roundToInt (-delta * wheelRows); };
    const auto across = event.mods.isShiftDown() ? wheel.deltaX + wheel.deltaY : wheel.deltaX;
    const auto down = event.mods.isShiftDown() ? 0.0f : wheel.deltaY;
    scrollTo (firstShown + Place (steps (across), steps (down)));
    mouseMove (event);
}

juce::String BleedView::getTooltip()
{
    return pointedAt && describeChoice != nullptr
               ? describeChoice (indexOf (pointedAt->y), indexOf (pointedAt->x))
               : juce::String();
}

juce::String BleedView::accessibleValue() const
{
    return hasMap() ? bleedCellText (state, indexOf (selected.y), indexOf (selected.x)) : state.message;
}

std::unique_ptr<juce::AccessibilityHandler> BleedView::createAccessibilityHandler()
{
    return makeSpokenHandler (*this, juce::AccessibilityRole::table, [this] { return accessibleValue(); });
}

//============================================================================================================
// Painting

void BleedView::paint (juce::Graphics& g)
{
    g.fillAll (palette::wave);
    auto title = getLocalBounds().removeFromTop (titleHeight).reduced (inset, 0);
    title.setRight ((hasMap() ? before.getX() : closeButton.getX()) - 12);
    const auto titleFont = fonts::inter (15.0f, fonts::Weight::semibold);
    g.setFont (titleFont);
    g.setColour (palette::textHigh);
    g.drawText ("Bleed map",
                title.removeFromLeft (titleFont.getStringWidth ("Bleed map") + 12),
                juce::Justification::centredLeft,
                false);

    if (! hasMap())
        return paintMessage (g);

    g.setFont (fonts::inter (12.0f));
    const auto hasNotice = state.notice.isNotEmpty();
    g.setColour (hasNotice ? state.noticeColour : palette::textMid);
    g.drawText (hasNotice ? state.notice
                          : juce::String ("Drums in microphones, dB against the microphone's own"),
                title,
                juce::Justification::centredLeft,
                true);
    paintHeads (g);

    for (Place cell (firstShown); cell.y < numDrums(); ++cell.y)
        for (cell.x = firstShown.x; cell.x < numDrums(); ++cell.x)
            if (const auto bounds = cellBounds (cell); ! bounds.isEmpty())
                paintCell (g, cell, bounds);

    paintStrip (g);
}

void BleedView::paintOverChildren (juce::Graphics& g)
{
    if (hasKeyboardFocus (false) && areFocusRingsShown())
        drawFocusRing (g, getLocalBounds().toFloat().reduced (3.0f));
}

void BleedView::paintHeads (juce::Graphics& g) const
{
    const auto room = grid();
    const auto shown = pointedAt.value_or (selected);

    for (int i = 0; i < numDrums(); ++i)
    {
        const auto& drum = state.drums[indexOf (i)];

        if (auto head = cellBounds ({ i, firstShown.y }); ! head.isEmpty())
        {
            head = head.withY (room.getY() - columnHead).withHeight (columnHead).reduced (2, 4);
            const auto hasName = cellWidth >= wideName;
            drawIcon (g,
                      drum.icon,
                      (hasName ? head.removeFromTop (18) : head.withSizeKeepingCentre (18, 18)).toFloat(),
                      drum.colour);
            g.setFont (fonts::inter (11.0f, i == shown.x ? fonts::Weight::semibold : fonts::Weight::regular));
            g.setColour (i == shown.x ? palette::textHigh : palette::textMid);

            if (hasName)
                g.drawText (drum.name, head, juce::Justification::centred, true);
        }

        if (auto head = cellBounds ({ firstShown.x, i }); ! head.isEmpty())
        {
            head = head.withX (inset).withWidth (headWidth).withTrimmedRight (6);

            if (drum.trackId == state.selectedTrack)
            {
                g.setColour (palette::selected);
                g.fillRect (head.reduced (0, 1));
            }

            drawIcon (g, drum.icon, head.removeFromLeft (headIcon).reduced (3).toFloat(), drum.colour);
            g.setFont (fonts::inter (12.0f, i == shown.y ? fonts::Weight::semibold : fonts::Weight::regular));
            g.setColour (i == shown.y ? palette::textHigh : palette::textMid);
            g.drawText (drum.name, head.withTrimmedLeft (4), juce::Justification::centredLeft, true);
        }
    }
}

void BleedView::paintCell (juce::Graphics& g, Place place, juce::Rectangle<int> area) const
{
    const auto& cell = state.cell (indexOf (place.y), indexOf (place.x));
    const auto isOwn = place.x == place.y;
    const auto level = showsAfter() ? cell.after : cell.before;
    auto inner = area.reduced (1);
    g.setColour (isOwn ? palette::wave.interpolatedWith (state.drums[indexOf (place.x)].colour, 0.16f)
                       : palette::panel.interpolatedWith (palette::emberFill,
                                                          cell.isSameDrum ? 0.0f : bleedStrength (level)));
    g.fillRect (inner);

    const auto text = isOwn             ? juce::String ("own")
                      : cell.isSameDrum ? juce::String ("same")
                                        : bleedLevelText (level);
    const auto other = isOwn             ? bleedLevelText (cell.after)
                       : cell.isSameDrum ? juce::String()
                                         : (showsAfter() ? "from " : juce::String::fromUTF8 ("\xe2\x86\x92 "))
                                               + bleedLevelText (showsAfter() ? cell.before : cell.after);
    const auto hasBoth = area.getHeight() >= twoLines && area.getWidth() >= wideName && other.isNotEmpty();

    if (hasBoth)
    {
        g.setColour (palette::textMid);
        g.setFont (fonts::inter (11.0f));
        g.drawText (other,
                    inner.removeFromBottom (inner.getHeight() * 2 / 5),
                    juce::Justification::centredTop,
                    false);
    }

    g.setColour (isOwn || cell.isSameDrum ? palette::textMid : palette::textHigh);
    g.setFont (isOwn || cell.isSameDrum ? fonts::inter (11.0f)
                                        : fonts::inter (hasBoth ? 14.0f : 12.0f, fonts::Weight::medium));
    g.drawText (
        text, inner, hasBoth ? juce::Justification::centredBottom : juce::Justification::centred, false);

    if (place == selected || place == pointedAt)
    {
        g.setColour (place == selected ? palette::ice : palette::outline);
        g.drawRect (area, place == selected && hasKeyboardFocus (false) ? 2 : 1);
    }
}

void BleedView::paintStrip (juce::Graphics& g) const
{
    // Above the cells: tooltips come below the pointer.
    auto area = getLocalBounds().withTrimmedTop (titleHeight).removeFromTop (stripHeight);
    g.setColour (palette::panel);
    g.fillRect (area);
    area = area.reduced (inset, 5);
    const auto shown = pointedAt.value_or (selected);
    g.setColour (palette::textHigh);
    g.setFont (fonts::inter (13.0f));
    g.drawText (bleedCellText (state, indexOf (shown.y), indexOf (shown.x)),
                area.removeFromTop (22),
                juce::Justification::centredLeft,
                true);

    if (bandsOf == nullptr || state.cell (indexOf (shown.y), indexOf (shown.x)).isSameDrum)
        return;

    const auto bands = bandsOf (indexOf (shown.y), indexOf (shown.x));
    const auto width = bands.empty() ? 0 : area.getWidth() / static_cast<int> (bands.size());

    for (const auto& band : bands)
    {
        auto column = area.removeFromLeft (width);
        g.setColour (palette::textLow);
        g.setFont (fonts::inter (11.0f));
        g.drawText (band.name, column.removeFromTop (18), juce::Justification::centredLeft, true);
        g.setColour (palette::textMid);
        g.setFont (fonts::inter (12.0f));
        g.drawText (bleedLevelText (band.before) + juce::String::fromUTF8 (" \xe2\x86\x92 ")
                        + bleedLevelText (band.after),
                    column,
                    juce::Justification::centredLeft,
                    false);
    }
}

void BleedView::paintMessage (juce::Graphics& g) const
{
    g.setColour (palette::textMid);
    g.setFont (fonts::inter (13.0f));
    g.drawFittedText (state.message,
                      getLocalBounds().withSizeKeepingCentre (std::min (460, getWidth() - 2 * inset), 60),
                      juce::Justification::centred,
                      3,
                      1.0f);
}

} // namespace tessivar
