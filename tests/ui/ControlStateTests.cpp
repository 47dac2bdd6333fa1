#include "terms/DrumType.h"
#include "ui/DrumDrawing.h"
#include "ui/KnobGeometry.h"
#include "ui/TessivarKnobTooltip.h"
#include "ui/TessivarSuppressionMeterComponent.h"

#include <catch2/catch.hpp>

using namespace tessivar;

TEST_CASE ("SuppressionMeterState", "[ui][meter]")
{
    SuppressionMeterState meter;

    SECTION ("lights one LED a whole 41st of the fraction")
    {
        const std::pair<float, int> cases[] = {
            { 0.0f, 0 }, { 0.99f, 40 }, { 1.0f, 41 }, { 12.0f / 41.0f + 0.0005f, 12 }
        };
        for (const auto& [fraction, lit] : cases)
        {
            meter.setLevel (fraction, 0.0f, 41.0f, false);
            CHECK (meter.litLeds == lit);
        }
    }

    SECTION ("holds the highest reading for 90 calls")
    {
        meter.setLevel (1.0f, -3.0f, 9.0f, false);
        CHECK (meter.readout() == "12dB");
        // The call that set it counts as the first.
        for (int call = 0; call < 89; ++call)
            meter.setLevel (1.0f, 0.0f, 4.0f, false);
        CHECK (meter.readout() == "12dB");
        meter.setLevel (1.0f, 0.0f, 4.0f, false);
        CHECK (meter.readout() == "4dB");

        // It stays while no LED is lit, and a small one is rounded.
        meter.setLevel (0.0f, 0.0f, 41.0f, false);
        CHECK (meter.litLeds == 0);
        CHECK (meter.readout() == "4dB");
        SuppressionMeterState other;
        other.setLevel (1.0f, 0.0f, 0.4f, false);
        CHECK (other.readout() == "0dB");
    }

    SECTION ("forgets everything in silence, and a press forgets the number until the next level")
    {
        meter.setLevel (1.0f, 0.0f, 20.0f, true);
        CHECK (meter.readout() == "--");
        CHECK (meter.litLeds == 0);
        CHECK (meter.heldReadingDb == 0.0f);
        CHECK (meter.holdCounter == 1);

        meter.setLevel (0.5f, 0.0f, 20.0f, false);
        meter.clear();
        CHECK (meter.readout() == "--");
        CHECK (meter.litLeds == 0);
        CHECK (meter.holdCounter == 1);
        meter.setLevel (0.5f, 0.0f, 4.0f, false);
        CHECK (meter.readout() == "2dB");
    }

    SECTION ("fits its pitch to the height and finds it again from the height")
    {
        CHECK (fittingLedPitch (418) == 8);
        CHECK (fittingLedPitch (100) == 6);
        CHECK (fittingLedPitch (2000) == 12);
        // Laid out at double size with images of 60 and 20 px above the LEDs.
        for (int pitch = 6; pitch <= 12; ++pitch)
            CHECK (ledPitch (2 * meterHeightForPitch (pitch), 60, 20) == 2 * pitch);
    }
}

TEST_CASE ("A knob's label fades in 84 steps", "[ui][knob]")
{
    KnobLabelState label;
    using Change = KnobLabelState::Change;

    label.valueChanged();
    for (int tick = 1; tick < 84; ++tick)
        REQUIRE (label.fadeTick (false) == Change::redraw);
    CHECK (label.alpha == 255 - 83 * 3);
    CHECK (label.fadeTick (false) == Change::hide);
    CHECK (label.alpha == 0);
    label.valueChanged();
    CHECK (label.alpha == 255);
    CHECK (label.fading);

    // After a double-click it waits one tick, and for as long as the editor is open.
    label.show();
    CHECK (label.fadeTick (true) == Change::none);
    CHECK_FALSE (label.fading);
    CHECK (label.fadeTick (false) == Change::none);
    CHECK (label.fadeTick (false) == Change::redraw);
    label.holdForEditing();
    for (int tick = 0; tick < 200; ++tick)
        REQUIRE (label.fadeTick (true) == Change::none);
    CHECK (label.alpha == 252);
}

TEST_CASE ("Drum types that can be chosen differ in colour and icon", "[ui]")
{
    for (const auto& a : drumTypeRows)
        for (const auto& b : drumTypeRows)
            if (a.type < b.type && canBeChosen (a.type) && canBeChosen (b.type))
            {
                INFO (a.name << " and " << b.name);
                CHECK (drumColour (a.type) != drumColour (b.type));
                CHECK (drumIcon (a.type) != drumIcon (b.type));
            }
}

TEST_CASE ("KnobGeometry", "[ui][knob]")
{
    SECTION ("names the image set of a knob by its size class")
    {
        CHECK (knobImagePrefix (39.0f, true) == "mainKnob/main knob ");
        CHECK (knobImagePrefix (30.0f, true) == "mainKnob/main knob ");
        CHECK (knobImagePrefix (23.0f, false) == "fineKnob/fine knob ");
        CHECK (knobImagePrefix (39.0f, false) == "fineKnob/fine knob ");
        CHECK (knobImagePrefix (29.0f, true) == "plugin/focus/focus knob ");
        CHECK (knobImagePrefix (10.0f, true) == "plugin/fine/fine knob ");
        CHECK (knobImagePrefix (9.9f, true).isEmpty());
    }

    SECTION ("writes a value as a percentage of its range, and reads one but no empty text")
    {
        const std::tuple<double, double, const char*> cases[] = {
            { 0.375, 1.0, "38%" }, { 3.1, 5.0, "62%" },     { 5.0, 5.0, "100%" }, { 7.0, 5.0, "100%" },
            { -1.0, 5.0, "0%" },   { 1.0e12, 1.0, "100%" }, { 0.5, 0.0, "0%" }
        };
        for (const auto& [value, range, text] : cases)
            CHECK (percentText (value, range) == text);
        CHECK (percentFromText ("62%") == 62);
        CHECK (percentFromText ("9999") == 100);
        CHECK_FALSE (percentFromText ("%").has_value());
        CHECK_FALSE (percentFromText ("").has_value());
    }

    SECTION ("puts the dot at 7:30, on top and at 4:30")
    {
        const juce::Rectangle<float> knob (0.0f, 0.0f, 128.0f, 128.0f);
        const auto orbit = 0.94f * 39.0f;
        const auto low = knobDotBounds (knob, 39.0f, 0.0f).getCentre();
        const auto middle = knobDotBounds (knob, 39.0f, 0.5f).getCentre();
        const auto high = knobDotBounds (knob, 39.0f, 1.0f).getCentre();
        // 45 degrees to each side of straight down.
        CHECK (low.x == Approx (64.0f - orbit * 0.70711f).margin (0.01));
        CHECK (low.y == Approx (64.0f + orbit * 0.70711f).margin (0.01));
        CHECK (middle.x == Approx (64.0f).margin (0.01));
        CHECK (middle.y == Approx (64.0f - orbit).margin (0.01));
        CHECK (high.x == Approx (128.0f - low.x).margin (0.01));

        const auto half = knobDotBounds (knob.withSize (64.0f, 64.0f), 39.0f, 0.5f);
        CHECK (half.getWidth() == Approx (10.0f));
        CHECK (half.getCentreY() == Approx (32.0f - 0.5f * orbit).margin (0.01));
    }

    SECTION ("never turns beyond the range")
    {
        KnobDrag drag;
        drag.move (1000.0, -75.0, false);
        CHECK (drag.proportion == 1.0);
        CHECK (KnobDrag::afterWheel (0.995, 1.0, false) == 1.0);
    }
}
