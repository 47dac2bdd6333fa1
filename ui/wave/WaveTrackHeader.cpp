#include "ui/wave/WaveTrackHeader.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/wave/WaveRaster.h"

namespace tessivar
{

namespace
{

/** Below this width the slider is shorter, so that names keep their space. */
constexpr int compactBelow = 800;
constexpr int overlap = 10; // px

} // namespace

WaveTrackHeader::WaveTrackHeader()
{
    setOpaque (true);
    for (auto* button : std::initializer_list<juce::Button*>{
             &kept, &removed, &spectrum, &smaller, &larger, &zoomToSelection, &fit })
        addAndMakeVisible (button);
    kept.onClick =
        removed.onClick = [this] { call (onLayersShown, kept.getToggleState(), removed.getToggleState()); };
    spectrum.setTooltip ("Show or hide the spectrum [G]");
    spectrum.setToggleable (true);
    spectrum.onClick = [this] { call (onSpectrumShown, ! spectrum.getToggleState()); };
    smaller.onClick = [this] { call (onZoomSteps, -1); };
    larger.onClick = [this] { call (onZoomSteps, 1); };
    zoomToSelection.onClick = [this] { call (onZoomToSelection); };
    fit.onClick = [this] { call (onFit); };
    addAndMakeVisible (bleed);
    bleed.setTooltip ("Show or hide the bleed map: whose leakage is in which microphone [M]");
    bleed.onClick = [this] { call (onBleedShown, ! bleed.getToggleState()); };
    setContent ({});
}

void WaveTrackHeader::setContent (const Content& newContent)
{
    content = newContent;
    const auto colours = WaveLayerColours::forLook (content.look, content.colour);
    const auto hasLegend = ! colours.processed.isTransparent();
    kept.setVisible (hasLegend);
    removed.setVisible (hasLegend);
    kept.setColours (colours.processed, {});
    removed.setColours (colours.source, colours.sourceEdge);
    setTitle (content.name);
    setDescription (content.facts.joinIntoString (", "));
    setTooltip (content.hint);
    resized();
    repaint();
}

void WaveTrackHeader::setSlider (juce::Slider* newSlider)
{
    replaceSlider (*this, slider, newSlider);
}

void WaveTrackHeader::resized()
{
    auto area = getLocalBounds().withTrimmedRight (13).withSizeKeepingCentre (getWidth() - 13, 28).withX (0);
    bleed.setBounds (area.removeFromRight (28));
    area.removeFromRight (6);
    fit.setBounds (area.removeFromRight (28));
    area.removeFromRight (2);
    zoomToSelection.setBounds (area.removeFromRight (28));
    area.removeFromRight (5);
    larger.setBounds (area.removeFromRight (28));
    // The slider's cap extends 8 pixels past its groove, over the edges of both buttons.
    const auto sliderWidth = getWidth() < compactBelow ? 80 : 112;
    const auto sliderBounds =
        area.withTrimmedLeft (area.getWidth() - (sliderWidth - overlap)).withWidth (sliderWidth);
    if (slider != nullptr)
        slider->setBounds (sliderBounds);
    smaller.setBounds (area.withWidth (28).withX (sliderBounds.getX() + overlap - 28));
    dividerX = smaller.getX() - 5;
    area.setRight (dividerX - 6);
    spectrum.setBounds (area.removeFromRight (28));
    area.removeFromRight (14);
    if (kept.isVisible())
    {
        removed.setBounds (area.removeFromRight (removed.idealWidth()));
        area.removeFromRight (27);
        kept.setBounds (area.removeFromRight (kept.idealWidth()));
        area.removeFromRight (16);
    }
    textEnd = area.getRight();
}

void WaveTrackHeader::paint (juce::Graphics& g)
{
    g.fillAll (palette::panel);
    g.setColour (palette::line);
    g.fillRect (dividerX, 13, 1, 22);
    if (content.name.isEmpty())
        return;

    const juce::Rectangle<float> tile (16.0f, 9.0f, 30.0f, 30.0f);
    g.setColour (palette::panel.interpolatedWith (content.colour, 0.16f));
    g.fillRoundedRectangle (tile, 7.0f);
    drawIcon (g, content.icon, tile.reduced (5.0f), content.colour);

    auto area = juce::Rectangle<float>::leftTopRightBottom (
        58.0f, 0.0f, static_cast<float> (textEnd), static_cast<float> (getHeight()));
    const auto nameFont = fonts::inter (18.0f, fonts::Weight::semibold);
    g.setColour (palette::textHigh);
    g.setFont (nameFont);
    const auto nameWidth = std::min (nameFont.getStringWidthFloat (content.name), area.getWidth());
    g.drawText (content.name, area.removeFromLeft (nameWidth + 1.0f), juce::Justification::centredLeft, true);
    area.removeFromLeft (11.0f);
    g.setColour (palette::textLow);
    const auto font = fonts::inter (12.0f);
    g.setFont (font);
    auto shown = content.facts;
    const auto words = [&] { return shown.joinIntoString (juce::String::fromUTF8 (" \xc2\xb7 ")); };
    while (! shown.isEmpty() && font.getStringWidthFloat (words()) > area.getWidth())
        shown.remove (shown.size() - 1);
    g.drawText (words(), area.withTrimmedRight (-2.0f), juce::Justification::centredLeft, false);
}

} // namespace tessivar
