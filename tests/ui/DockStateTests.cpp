#include "ui/dock/KnobSection.h"

#include <catch2/catch.hpp>

using namespace tessivar;

TEST_CASE ("ListenLatch", "[ui][dock]")
{
    ListenLatch latch;
    const auto click = [&] (ListenMode mode, double at, double forMs)
    {
        latch.press (mode, at);
        const auto during = latch.current();
        latch.release (mode, at + forMs);
        return during;
    };

    SECTION ("latches with a click and lets go with the next")
    {
        CHECK (click (ListenMode::bypass, 0.0, 80.0) == ListenMode::bypass);
        CHECK (latch.current() == ListenMode::bypass);
        click (ListenMode::bypass, 1000.0, 80.0);
        CHECK (latch.current() == ListenMode::processed);
    }

    SECTION ("sounds only while held, and falls back to what was latched before")
    {
        CHECK (click (ListenMode::removed, 0.0, 400.0) == ListenMode::removed);
        CHECK (latch.current() == ListenMode::processed);

        click (ListenMode::bypass, 1000.0, 80.0);
        CHECK (click (ListenMode::removed, 2000.0, 400.0) == ListenMode::removed);
        CHECK (latch.current() == ListenMode::bypass);
    }

    SECTION ("releases the other mode, and ignores a release that belongs to no press")
    {
        click (ListenMode::bypass, 0.0, 80.0);
        click (ListenMode::removed, 1000.0, 80.0);
        CHECK (latch.current() == ListenMode::removed);

        latch.press (ListenMode::bypass, 2000.0);
        latch.set (ListenMode::processed);
        latch.release (ListenMode::bypass, 2900.0);
        CHECK (latch.current() == ListenMode::processed);
    }
}

TEST_CASE ("DockState", "[ui][dock]")
{
    SECTION ("draws a layer's weight from -60 to 0 dB")
    {
        CHECK (layerBarHeight (1.0f) == 1.0f);
        CHECK (layerBarHeight (0.0316228f) == Approx (0.5f).margin (1.0e-4)); // -30 dB
        CHECK (layerBarHeight (0.001f) == Approx (0.0f).margin (1.0e-4));
        CHECK (layerBarHeight (0.0f) == 0.0f);
        CHECK (layerBarHeight (2.0f) == 1.0f);
    }

    SECTION ("gives spare width to Focus and Fine, and drops Layers when compact")
    {
        const auto roomy = dockLayout ({ 0, 0, 935, 202 }, false);
        CHECK (roomy.focus.getWidth() == 234);
        CHECK (roomy.fine.getWidth() == 133);
        CHECK (roomy.listen == juce::Rectangle<int> (739, 0, 196, 202));
        const auto compact = dockLayout ({ 0, 0, 724, 166 }, true);
        CHECK (compact.layers.isEmpty());
        CHECK (compact.fine.getRight() == compact.listen.getX());
    }

    SECTION ("says what sounds")
    {
        DockState state;
        state.settings = { { { 3.1f, 0.18f }, { 0.0f, 0.0f } } };
        CHECK (settingDescription (state) == "A, Focus 62 percent, Fine 18 percent");
        CHECK (listeningText (state) == "Available after analysis.");
        state.available = true;
        state.listening = ListenMode::removed;
        CHECK (listeningText (state) == "Only the removed part.");
    }

    SECTION ("lights a ring's segments one after the other, with gaps between")
    {
        const auto ring = ringSegments (5, 0.62f, 0.04f);
        REQUIRE (ring.size() == 5);
        CHECK (ring[0].start == Approx (angleForProportion (0.0f)));
        CHECK (ring[4].end == Approx (angleForProportion (1.0f)));
        CHECK (ring[1].start - ring[0].end == Approx (0.04f));
        CHECK (ring[2].litEnd == ring[2].end);
        CHECK (ring[3].litEnd == Approx (angleForProportion (0.62f)));
        CHECK (ring[4].litEnd == ring[4].start);
    }
}
