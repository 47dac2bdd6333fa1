#include "ui/TessivarSuppressionMeterComponent.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/SpokenValue.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{
namespace
{

// The meter is laid out at double size, so its font is doubled too.
constexpr float readoutEm = 2.0f * 14.0f;
constexpr int widthAt2x = 112;

void drawUnscaled (juce::Graphics& g, const juce::Image& image, juce::Rectangle<int> area)
{
    if (image.isValid())
        g.drawImageWithin (image,
                           area.getX(),
                           area.getY(),
                           area.getWidth(),
                           area.getHeight(),
                           juce::RectanglePlacement::centred | juce::RectanglePlacement::doNotResize);
}

} // namespace

void SuppressionMeterState::setLevel (float fraction, float levelADb, float levelBDb, bool isSilent)
{
    const auto distance = std::abs (static_cast<double> (levelADb - levelBDb));
    const auto readingDb = static_cast<float> (distance) * fraction;
    if (holdCounter == holdCalls || readingDb > heldReadingDb)
    {
        heldReadingDb = readingDb;
        holdCounter = 0;
    }
    if (isSilent)
    {
        litLeds = 0;
        heldReadingDb = 0.0f;
        holdCounter = 0;
    }
    else
    {
        litLeds = static_cast<int> (static_cast<float> (numLeds) * fraction);
    }
    ++holdCounter;
    silent = isSilent;
}

void SuppressionMeterState::clear()
{
    litLeds = 0;
    heldReadingDb = 0.0f;
    silent = true;
    holdCounter = 1;
}

juce::String SuppressionMeterState::readout() const
{
    if (silent || ! (heldReadingDb > 0.0f))
        return "--";
    return juce::String (juce::roundToInt (heldReadingDb)) + "dB";
}

int ledPitch (int meterHeight, int readoutHeight, int headerHeight)
{
    return juce::roundToInt (static_cast<float> (meterHeight - (headerHeight + readoutHeight))
                             / static_cast<float> (SuppressionMeterState::numLeds));
}

int fittingLedPitch (int availableHeight)
{
    return juce::jlimit (6, 12, (availableHeight - meterHeightForPitch (0)) / SuppressionMeterState::numLeds);
}

TessivarSuppressionMeterComponent::TessivarSuppressionMeterComponent (const ResourceImages& images)
    : TessivarComponent (images.get ("suppressionMeter/suppressionMeterBase.png")),
      readoutBacking (images.get ("suppressionMeter/suppressionIndincatorBase.png")),
      readoutGlass (images.get ("suppressionMeter/suppressionIndincatorGlow.png")),
      ledOn (images.get ("suppressionMeter/suppressionMeterLedOn.png")),
      headerOn (images.get ("suppressionMeter/suppressionMeterHeaderOn.png")),
      ledOff (images.get ("suppressionMeter/suppressionMeterLedOff.png")),
      headerOff (images.get ("suppressionMeter/suppressionMeterHeaderOff.png"))
{
    setTitle ("Suppression");
    setTooltip ("Click the number to clear it [Z]");
    setOpaque (true);
}

void TessivarSuppressionMeterComponent::setLevel (float fraction,
                                                  float levelADb,
                                                  float levelBDb,
                                                  bool isSilent)
{
    state.setLevel (fraction, levelADb, levelBDb, isSilent);
    announceReading();
    repaint();
}

void TessivarSuppressionMeterComponent::announceReading()
{
    // A screen reader hears a new number at most once per hold.
    ++callsSinceAnnouncement;
    if (callsSinceAnnouncement < SuppressionMeterState::holdCalls || state.readout() == announced)
        return;
    announced = state.readout();
    callsSinceAnnouncement = 0;
    if (auto* handler = getAccessibilityHandler())
        handler->notifyAccessibilityEvent (juce::AccessibilityEvent::valueChanged);
}

void TessivarSuppressionMeterComponent::layOut (juce::Point<int> topLeft, int pitch)
{
    setTransform (juce::AffineTransform::scale (0.5f));
    setBounds (topLeft.x * 2, topLeft.y * 2, widthAt2x, 2 * meterHeightForPitch (pitch));
}

void TessivarSuppressionMeterComponent::mouseDown (const juce::MouseEvent& event)
{
    if (event.y < readoutBacking.getHeight())
        clear();
}

void TessivarSuppressionMeterComponent::clear()
{
    state.clear();
    repaint();
}

void TessivarSuppressionMeterComponent::paint (juce::Graphics& g)
{
    g.fillAll (juce::Colours::black);
    TessivarComponent::paint (g);
    paintReadout (g);
    paintLeds (g);
}

void TessivarSuppressionMeterComponent::paintReadout (juce::Graphics& g) const
{
    const auto area = getLocalBounds().withHeight (readoutBacking.getHeight());
    drawUnscaled (g, readoutBacking, area);
    g.setColour (juce::Colour (0xffbfeaff));
    g.setFont (fonts::inter (readoutEm, fonts::Weight::semibold));
    g.drawFittedText (state.readout(), area, juce::Justification::centred, 1, 0.7f);
    g.setOpacity (1.0f);
    drawUnscaled (g, readoutGlass, area);
}

void TessivarSuppressionMeterComponent::paintLeds (juce::Graphics& g) const
{
    const auto width = getWidth() - 3;
    const auto top = readoutBacking.getHeight();
    const auto headerHeight = headerOn.getHeight();
    const auto& header = state.litLeds != 0 ? headerOn : headerOff;
    drawUnscaled (g, header, { 0, top, width, header.getHeight() });

    const auto pitch = ledPitch (getHeight(), top, headerHeight);
    const auto ledsTop = top + headerHeight;
    for (int i = 0; i < SuppressionMeterState::numLeds; ++i)
    {
        const auto& led = i < state.litLeds ? ledOn : ledOff;
        drawUnscaled (g, led, { 0, ledsTop + i * pitch, width, led.getHeight() });
    }
    drawUnscaled (
        g, headerOff, { 0, ledsTop + SuppressionMeterState::numLeds * pitch, width, headerOff.getHeight() });
}

std::unique_ptr<juce::AccessibilityHandler> TessivarSuppressionMeterComponent::createAccessibilityHandler()
{
    return makeSpokenHandler (*this,
                              juce::AccessibilityRole::progressBar,
                              [this]
                              {
                                  const auto decibels = juce::roundToInt (state.heldReadingDb);
                                  return state.silent ? "silent" : juce::String (decibels) + " decibels";
                              });
}

MeterColumn::MeterColumn (const ResourceImages& images) : meter (images)
{
    addAndMakeVisible (meter);
}

void MeterColumn::resized()
{
    pitch = fittingLedPitch (getHeight() - meterTop - takeHeight);
    meter.layOut ({ 24, meterTop }, pitch);
}

void MeterColumn::setTake (const ReductionCurve::Stretch& newTake)
{
    if (take.numSteps == newTake.numSteps && take.meanDb == newTake.meanDb
        && take.maximumDb == newTake.maximumDb)
        return;

    take = newTake;
    setTooltip (take.numSteps == 0 ? juce::String()
                                   : "Over the whole take, silence left out, " + juce::String (take.meanDb, 1)
                                         + " dB are removed on average, " + juce::String (take.maximumDb, 1)
                                         + " dB at most");
    repaint();
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

    if (take.numSteps == 0)
        return;

    // The mean as a full triangle, the maximum as an outline.
    const auto pointer = [&] (float levelDb)
    {
        const auto y = static_cast<float> (firstLed + 3)
                       + (std::clamp (levelDb, 1.0f, 41.0f) - 1.0f) * static_cast<float> (pitch);
        juce::Path triangle;
        triangle.addTriangle (12.0f, y - 4.5f, 20.0f, y, 12.0f, y + 4.5f);
        return triangle;
    };
    g.setColour (palette::ember);
    g.fillPath (pointer (take.meanDb));
    g.strokePath (pointer (take.maximumDb), juce::PathStrokeType (1.2f));

    const auto figure = [] (float levelDb) { return juce::String (juce::roundToInt (levelDb)); };
    g.setColour (palette::textMid);
    g.drawText ("avg " + figure (take.meanDb) + "  max " + figure (take.maximumDb) + " dB",
                0,
                meterTop + meterHeightForPitch (pitch) + 4,
                getWidth(),
                14,
                juce::Justification::centred,
                false);
}

} // namespace tessivar
