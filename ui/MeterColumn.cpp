#include "ui/MeterColumn.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{

MeterColumn::MeterColumn (const ResourceImages& images) : meter (images)
{
    addAndMakeVisible (meter);
}

void MeterColumn::resized()
{
    pitch = fittingLedPitch (getHeight() - meterTop);
    meter.layOut ({ 24, meterTop }, pitch);
}

void MeterColumn::paint (juce::Graphics& g)
{
    g.fillAll (juce::Colour (0xff101418));
    g.setColour (palette::textLow);
    g.setFont (fonts::caption());
    g.drawText ("REMOVED", 0, 5, getWidth(), 16, juce::Justification::centred, false);

    // The first LED lies below the readout (30) and the header (10).
    constexpr int firstLed = meterTop + 40;
    g.setFont (fonts::inter (10.0f));
    for (const auto figure : { 1, 6, 12, 18, 24, 30, 36, 41 })
    {
        const auto centre = firstLed + (figure - 1) * pitch + 3;
        g.drawText (juce::String (figure), 85, centre - 7, 19, 14, juce::Justification::centredLeft, false);
    }
}

} // namespace tessivar
