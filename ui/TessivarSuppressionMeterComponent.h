#pragma once

#include "terms/ReductionCurve.h"
#include "ui/TessivarControls.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** What the meter shows: LEDs for the current level, and a number held for 90 calls. */
struct SuppressionMeterState
{
    static constexpr int numLeds = 41;
    static constexpr int holdCalls = 90;

    int litLeds = 0;
    float heldReadingDb = 0.0f;
    int holdCounter = 0;
    bool silent = false;

    /** @param fraction  of the LEDs, 0 to 1
        @param levelADb, levelBDb  the number is their distance times the fraction
        @param isSilent  nothing is measured right now
    */
    void setLevel (float fraction, float levelADb, float levelBDb, bool isSilent);

    /** Drops the held number until the next level that isn't silent. */
    void clear();

    /** "12dB", or "--" while nothing is held. */
    juce::String readout() const;
};

/** Distance between LEDs in whole pixels, for a meter of this height. */
int ledPitch (int meterHeight, int readoutHeight, int headerHeight);

/** The largest pitch, 6 to 12 logical pixels, at which a meter fits the space, and its height at a pitch. */
int fittingLedPitch (int availableHeight);
constexpr int meterHeightForPitch (int pitch)
{
    return SuppressionMeterState::numLeds * pitch + 50;
}

/** The suppression meter: a readout and 41 LEDs, lit from the top.

    The images have double resolution and are drawn at their own size: the owner gives the meter twice the
    bounds and a transform of 0.5 (see layOut), which is sharp on any display. A press on the readout clears
    it.
*/
class TessivarSuppressionMeterComponent : public TessivarComponent, public juce::SettableTooltipClient
{
public:
    explicit TessivarSuppressionMeterComponent (const ResourceImages& images);

    /** Called by the owner's timer; the meter itself polls nothing. */
    void setLevel (float fraction, float levelADb, float levelBDb, bool isSilent);

    const SuppressionMeterState& getState() const { return state; }

    /** Places the meter, 56 wide and as high as its pitch requires, in logical pixels of its parent. */
    void layOut (juce::Point<int> topLeft, int pitch);

    /** Lets go of the largest value so far. */
    void clear();

    void mouseDown (const juce::MouseEvent& event) override;
    void paint (juce::Graphics& g) override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    void announceReading();
    void paintReadout (juce::Graphics& g) const;
    void paintLeds (juce::Graphics& g) const;

    SuppressionMeterState state;
    juce::String announced;
    int callsSinceAnnouncement = SuppressionMeterState::holdCalls;
    juce::Image readoutBacking, readoutGlass, ledOn, headerOn, ledOff, headerOff;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarSuppressionMeterComponent)
};

/** The column right of the waveform: caption, suppression meter and, beside it, the figures of the scale,
    which the column draws. The meter takes the largest pitch that fits and stays at the top; below it stands
    what is removed over the whole take, and triangles at its left point at the same levels.
*/
class MeterColumn : public juce::Component, public juce::SettableTooltipClient
{
public:
    explicit MeterColumn (const ResourceImages& images);

    static constexpr int width = 104;

    TessivarSuppressionMeterComponent& getMeter() { return meter; }

    /** What is removed over the take, which may be nothing at all. */
    void setTake (const ReductionCurve::Stretch& newTake);

    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    static constexpr int meterTop = 26, takeHeight = 20;

    TessivarSuppressionMeterComponent meter;
    ReductionCurve::Stretch take;
    int pitch = 8;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (MeterColumn)
};

} // namespace tessivar
