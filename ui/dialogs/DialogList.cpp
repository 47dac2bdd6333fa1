#include "ui/dialogs/DialogList.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{
namespace
{

constexpr std::size_t maxRowsShown = 8;

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
            if (onTick != nullptr)
                onTick (static_cast<int> (i), *rows[i].ticked);
        };
        content.addAndMakeVisible (*dot);
        content.dots.push_back (std::move (dot));
    }
    setDescription (juce::String (rows.size()) + (rows.size() == 1 ? " row" : " rows"));
    resized();
}

int DialogList::idealHeight() const
{
    return rows.empty() ? 0 : static_cast<int> (std::min (rows.size(), maxRowsShown)) * rowHeight + 2;
}

void DialogList::resized()
{
    viewport.setBounds (getLocalBounds().reduced (1));
    content.setSize (viewport.getMaximumVisibleWidth(), static_cast<int> (rows.size()) * rowHeight);
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
    for (std::size_t i = 0; i < dots.size(); ++i)
        if (dots[i] != nullptr)
            dots[i]->layOut (
                { 12, static_cast<int> (i) * owner.rowHeight + (owner.rowHeight - 20) / 2, 20, 20 });
}

void DialogList::Rows::paint (juce::Graphics& g)
{
    const auto clip = g.getClipBounds();
    for (std::size_t i = 0; i < owner.rows.size(); ++i)
    {
        const auto& row = owner.rows[i];
        auto area =
            juce::Rectangle<int> (0, static_cast<int> (i) * owner.rowHeight, getWidth(), owner.rowHeight);
        if (! area.intersects (clip))
            continue;
        if (i > 0)
        {
            g.setColour (palette::raised);
            g.fillRect (area.withHeight (1));
        }
        area.removeFromRight (12);
        if (row.ticked.has_value())
            area.removeFromLeft (42);
        else
        {
            area.removeFromLeft (13);
            drawIcon (g,
                      row.icon,
                      area.removeFromLeft (13).withSizeKeepingCentre (13, 13).toFloat(),
                      orLow (row.iconColour));
            area.removeFromLeft (11);
        }
        const auto remarkFont = fonts::inter (12.0f);
        if (row.remark.isNotEmpty())
        {
            // Half of the row, or what the text leaves.
            const auto left = area.getWidth() - fonts::inter (13.0f).getStringWidth (row.text) - 16;
            const auto width =
                std::min (remarkFont.getStringWidth (row.remark) + 2, std::max (left, area.getWidth() / 2));
            g.setColour (orLow (row.remarkColour));
            g.setFont (remarkFont);
            g.drawText (row.remark, area.removeFromRight (width), juce::Justification::centredRight, true);
            area.removeFromRight (8);
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
