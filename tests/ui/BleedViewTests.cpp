#include "tests/ui/MouseEvents.h"
#include "tests/ui/Snapshots.h"
#include "tools/gallery/SampleStates.h"

#include "ui/Palette.h"
#include "ui/bleed/BleedView.h"

#include <catch2/catch.hpp>

#include <cmath>
#include <utility>
#include <vector>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
const juce::String minus = juce::String::fromUTF8 ("\xe2\x88\x92");

/** Relative luminance, 0..1. */
double luminance (juce::Colour colour)
{
    const auto linear = [] (float value)
    { return value <= 0.04045f ? value / 12.92f : std::pow ((value + 0.055f) / 1.055f, 2.4f); };
    return static_cast<double> (0.2126f * linear (colour.getFloatRed())
                                + 0.7152f * linear (colour.getFloatGreen())
                                + 0.0722f * linear (colour.getFloatBlue()));
}
} // namespace

TEST_CASE ("Bleed map's cells", "[ui][bleed]")
{
    CHECK (bleedLevelText (-22.4) == minus + "22");
    CHECK (bleedLevelText (3.0) == "+3");
    CHECK (bleedLevelText (-0.2) == "0");
    CHECK (bleedLevelText ({}) == bleedLevelText (-120.0));

    auto state = bleedSample (4);
    state.cells[1].before = -22.4;
    state.cells[1].after = -38.0;
    CHECK (bleedCellText (state, 0, 1)
           == "Snare in Kick: " + minus + "22.4 dB, " + minus + "38.0 dB with the knobs as they stand");
    CHECK (bleedCellText (state, 2, 3).contains ("the same drum"));
    state.cells[1] = {};
    CHECK (bleedCellText (state, 0, 1) == "Nothing of Snare was found in Kick");

    // Numbers can be read on every ground, whatever the level.
    for (const auto level : { -60.0, -30.0, -10.0, 0.0, 12.0 })
    {
        const auto ground = palette::panel.interpolatedWith (palette::emberFill, bleedStrength (level));

        for (const auto ink : { palette::textHigh, palette::textMid })
            CHECK ((luminance (ink) + 0.05) / (luminance (ground) + 0.05) >= 4.5);
    }
}

TEST_CASE ("Bleed map's view", "[ui][bleed]")
{
    const PaintingFixture painting;
    BleedView view;
    std::vector<std::pair<std::size_t, std::size_t>> chosen;
    auto numClosed = 0;
    view.onChosen = [&] (std::size_t microphone, std::size_t drum)
    { chosen.emplace_back (microphone, drum); };
    view.onClosed = [&] { ++numClosed; };
    view.setSize (619, 342);
    const auto press = [&] (int code) { return view.keyPressed (juce::KeyPress (code)); };

    SECTION ("is walked through by keys and chosen from by keys and clicks")
    {
        view.setState (bleedSample (6)); // the second track is selected
        CHECK (view.accessibleValue().startsWith ("Snare, its own drum"));
        CHECK (press (juce::KeyPress::rightKey));
        CHECK (press (juce::KeyPress::upKey));
        CHECK (press (juce::KeyPress::upKey)); // stays in the first row
        CHECK (press (juce::KeyPress::returnKey));
        const auto cell = view.cellBounds ({ 4, 3 }).getCentre().toFloat();
        view.mouseUp (mouseAt (view, cell));
        view.mouseUp (mouseAt (view, cell, juce::ModifierKeys::leftButtonModifier, juce::Point<float>()));
        CHECK (chosen == std::vector<std::pair<std::size_t, std::size_t>>{ { 0, 2 }, { 3, 4 } });
        CHECK_FALSE (press ('A'));
        CHECK (press (juce::KeyPress::escapeKey));
        CHECK (numClosed == 1);
    }

    SECTION ("brings the selected cell into sight however small it is")
    {
        view.setState (bleedSample (24));
        CHECK (view.cellBounds ({ 23, 23 }).isEmpty());

        for (int i = 0; i < 30; ++i)
        {
            press (juce::KeyPress::rightKey);
            press (juce::KeyPress::downKey);
        }

        CHECK_FALSE (view.cellBounds ({ 23, 23 }).isEmpty());
        view.setState (bleedSample (2)); // as after tracks were removed
        CHECK_FALSE (view.cellBounds ({ 1, 1 }).isEmpty());
        snapshot (view);
    }

    SECTION ("without a map says why, and takes no keys but Escape")
    {
        view.setState (bleedSample (0));
        CHECK (view.accessibleValue().contains ("refined method"));
        CHECK_FALSE (press (juce::KeyPress::returnKey));
        view.mouseUp (mouseAt (view, { 300.0f, 170.0f }));
        CHECK (chosen.empty());
        CHECK (press (juce::KeyPress::escapeKey));
        snapshot (view);
    }
}
