#include "ui/DrumDrawing.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/browser/BrowserRows.h"

namespace tessivar
{
namespace
{

constexpr int textLeft = 34, colourBarWidth = 4, barHeight = 2;

} // namespace

void ReadingRow::takeFrom (const BrowserState& browser)
{
    if (const auto* found = findReading (browser, track))
    {
        state = *found;
        setTitle (accessibleName (state));
        repaint();
    }
}

void ReadingRow::setFraction (float fraction)
{
    if (readPercent (fraction) == readPercent (state.fraction))
        return;
    state.fraction = fraction;
    setTitle (accessibleName (state));
    repaint();
}

void ReadingRow::mouseDown (const juce::MouseEvent& event)
{
    // There is no track to select yet.
    if (event.mods.isPopupMenu())
        call (callbacks.onMenu, group, RowId (0), event.getScreenPosition());
    else
        call (callbacks.onPress, group, RowId (0), event);
}

void ReadingRow::paint (juce::Graphics& g)
{
    paintGround (g, palette::raised);
    g.setColour (juce::Colour (0xff0f1316));
    g.fillRect (0, getHeight() - 1, getWidth(), 1);
    const auto colour = state.typeUnknown ? palette::amber : drumColour (state.type);
    g.setColour (colour.withMultipliedAlpha (0.5f));
    g.fillRect (0, 0, colourBarWidth, getHeight() - 1);

    const auto line = [&] (int top, const juce::String& left, const juce::String& right)
    {
        auto area =
            juce::Rectangle<int>::leftTopRightBottom (textLeft, top, getWidth() - 22, top + 20).toFloat();
        fonts::drawTabular (
            g, fonts::inter (12.0f), right, area.removeFromRight (70.0f), juce::Justification::centredRight);
        g.drawText (left, area, juce::Justification::centredLeft, true);
    };
    g.setColour (palette::textMid);
    g.setFont (fonts::inter (13.0f, fonts::Weight::medium));
    line (getHeight() > 55 ? 5 : 3, state.name, {});
    g.setColour (palette::textLow);
    g.setFont (fonts::inter (12.0f));
    line (getHeight() - 29,
          state.typeUnknown ? juce::String ("type?") : drumName (state.type),
          state.fraction > 0.0f ? juce::String (readPercent (state.fraction)) + " %"
                                : juce::String ("Waiting"));

    const auto bar = getLocalBounds()
                         .withTrimmedLeft (colourBarWidth)
                         .withTrimmedBottom (1)
                         .removeFromBottom (barHeight)
                         .toFloat();
    g.setColour (palette::well);
    g.fillRect (bar);
    g.setColour (palette::iceMid);
    g.fillRect (bar.withWidth (bar.getWidth() * juce::jlimit (0.0f, 1.0f, state.fraction)));
    paintSelection (g);
}

} // namespace tessivar
