#include "ui/dialogs/DialogList.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/dialogs/DialogText.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{
namespace
{

constexpr int maxRowsShown = 8;
constexpr int rightInset = 12, textLeft = 37, textLeftBesideDot = 42;
constexpr int lineHeight = 19, remarkGap = 18;
constexpr int detailRise = 5, detailFoot = 8; // into the row's height above it; below its last line

int leftOfText (const DialogListRow& row)
{
    return row.ticked.has_value() ? textLeftBesideDot : textLeft;
}

juce::Colour orLow (juce::Colour colour)
{
    return colour.isTransparent() ? palette::textLow : colour;
}

} // namespace

DialogList::DialogList (const ResourceImages& imagesToUse) : images (imagesToUse), content (*this)
{
    addAndMakeVisible (viewport);
    viewport.setViewedComponent (&content, false);
    viewport.setScrollBarsShown (true, false);
    setTitle ("List");
}

void DialogList::setRows (std::vector<DialogListRow> newRows, int rowHeightToUse)
{
    rows = std::move (newRows);
    rowHeight = rowHeightToUse;
    content.dots.clear();
    for (std::size_t i = 0; i < rows.size(); ++i)
    {
        if (! rows[i].ticked.has_value())
        {
            content.dots.push_back (nullptr);
            continue;
        }
        auto dot = std::make_unique<TessivarCheckBox> (images);
        dot->setTitle (rows[i].text);
        dot->setToggleState (*rows[i].ticked, juce::dontSendNotification);
        dot->onClick = [this, i, box = dot.get()]
        {
            rows[i].ticked = box->getToggleState();
            call (onTick, static_cast<int> (i), *rows[i].ticked);
        };
        content.addAndMakeVisible (*dot);
        content.dots.push_back (std::move (dot));
    }
    setDescription (juce::String (rows.size()) + (rows.size() == 1 ? " row" : " rows"));
    resized();
}

std::vector<DialogList::Place> DialogList::placesAt (int rowWidth) const
{
    std::vector<Place> result;
    int top = 0;
    for (const auto& row : rows)
    {
        const auto room = static_cast<float> (std::max (1, rowWidth - leftOfText (row) - rightInset));
        const auto textWidth = fonts::inter (13.0f).getStringWidthFloat (row.text);
        const auto remarkWidth =
            row.remark.isEmpty() ? 0.0f : fonts::inter (12.0f).getStringWidthFloat (row.remark) + remarkGap;
        Place place;
        place.top = top;
        place.hasRemarkBeside = row.remark.isNotEmpty() && textWidth + remarkWidth <= room;
        place.text = layOutText (row.text, palette::textHigh, room);
        const auto moreLines = place.text.getNumLines() > 1 ? place.text.getHeight() - lineHeight : 0.0f;
        place.headHeight = rowHeight + juce::roundToInt (std::ceil (moreLines));
        place.height = place.headHeight;
        std::vector<ColouredText> below;
        if (row.remark.isNotEmpty() && ! place.hasRemarkBeside)
            below.push_back ({ row.remark + (row.detail.isEmpty() ? "" : "\n"), orLow (row.remarkColour) });
        if (row.detail.isNotEmpty())
            below.push_back ({ row.detail, palette::textLow });
        if (! below.empty())
        {
            place.below = layOutText (below, room, 12.0f);
            place.height += juce::roundToInt (std::ceil (place.below.getHeight())) - detailRise + detailFoot;
        }
        top += place.height;
        result.push_back (std::move (place));
    }
    return result;
}

int DialogList::heightOf (const std::vector<Place>& rowPlaces)
{
    return rowPlaces.empty() ? 0 : rowPlaces.back().top + rowPlaces.back().height;
}

int DialogList::idealHeight (int width) const
{
    return rows.empty() ? 0 : std::min (heightOf (placesAt (width - 2)), maxRowsShown * rowHeight) + 2;
}

void DialogList::resized()
{
    const auto area = getLocalBounds().reduced (1);
    auto rowWidth = area.getWidth();
    places = placesAt (rowWidth);
    if (heightOf (places) > area.getHeight())
    {
        rowWidth -= viewport.getScrollBarThickness();
        places = placesAt (rowWidth);
    }
    viewport.setBounds (area);
    content.setSize (rowWidth, heightOf (places));
    content.resized();
}

void DialogList::paint (juce::Graphics& g)
{
    g.setColour (palette::well);
    g.fillRoundedRectangle (getLocalBounds().toFloat(), 6.0f);
}

void DialogList::paintOverChildren (juce::Graphics& g)
{
    g.setColour (palette::line);
    g.drawRoundedRectangle (getLocalBounds().toFloat().reduced (0.5f), 6.0f, 1.0f);
}

void DialogList::Rows::resized()
{
    for (std::size_t i = 0; i < std::min (dots.size(), owner.places.size()); ++i)
        if (dots[i] != nullptr)
            dots[i]->layOut ({ 12, owner.places[i].top + (owner.rowHeight - 20) / 2, 20, 20 });
}

void DialogList::Rows::paint (juce::Graphics& g)
{
    const auto clip = g.getClipBounds();
    for (std::size_t i = 0; i < owner.places.size(); ++i)
    {
        const auto& row = owner.rows[i];
        const auto& place = owner.places[i];
        juce::Rectangle<int> area (0, place.top, getWidth(), place.height);
        if (! area.intersects (clip))
            continue;
        if (i > 0)
        {
            g.setColour (palette::raised);
            g.fillRect (area.withHeight (1));
        }
        area.removeFromRight (rightInset);
        auto below = area.removeFromBottom (place.height - place.headHeight);
        below.removeFromLeft (leftOfText (row));
        place.below.draw (g, below.withTop (below.getY() - detailRise).toFloat());
        auto mark = area.removeFromLeft (leftOfText (row)).withHeight (owner.rowHeight);
        if (! row.ticked.has_value())
            drawIcon (g,
                      row.icon,
                      mark.withTrimmedLeft (13).withWidth (13).withSizeKeepingCentre (13, 13).toFloat(),
                      orLow (row.iconColour));
        if (place.hasRemarkBeside)
        {
            g.setColour (orLow (row.remarkColour));
            g.setFont (fonts::inter (12.0f));
            g.drawText (row.remark, area, juce::Justification::centredRight, false);
        }
        if (place.text.getNumLines() > 1)
        {
            place.text.draw (g, area.withTrimmedTop ((owner.rowHeight - lineHeight) / 2).toFloat());
            continue;
        }
        g.setColour (palette::textHigh);
        g.setFont (fonts::inter (13.0f));
        g.drawText (row.text, area, juce::Justification::centredLeft, true);
    }
}

void DialogList::Rows::paintOverChildren (juce::Graphics& g)
{
    for (const auto& dot : dots)
        if (dot != nullptr)
            drawSocket (g, dot->getDotArea());
}

std::unique_ptr<juce::AccessibilityHandler> DialogList::createAccessibilityHandler()
{
    return std::make_unique<juce::AccessibilityHandler> (*this, juce::AccessibilityRole::list);
}

} // namespace tessivar
