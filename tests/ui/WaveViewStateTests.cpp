#include "ui/wave/WaveGestures.h"
#include "ui/wave/WaveTimeText.h"

#include <catch2/catch.hpp>

#include <vector>

using namespace tessivar;

namespace
{

WaveViewState viewOf (double lengthSeconds, double zoom, double plotWidth)
{
    WaveViewState view;
    view.setPlotWidth (plotWidth);
    view.setTrack (lengthSeconds, 48000.0);
    view.setHorizontalZoom (zoom, 0.0);
    return view;
}

} // namespace

TEST_CASE ("WaveViewState zoom", "[ui][wave]")
{
    SECTION ("horizontal: everything at 0, 50 ms at 0.9, the geometric middle halfway")
    {
        CHECK (WaveViewState::visibleLengthFor (0.0, 222.0) == 222.0);
        CHECK (WaveViewState::visibleLengthFor (0.9, 222.0) == Approx (0.05));
        CHECK (WaveViewState::visibleLengthFor (0.45, 222.0) == Approx (std::sqrt (222.0 * 0.05)));
        for (const auto zoom : { 0.0, 0.1, 0.45, 0.9 })
            CHECK (WaveViewState::zoomForVisibleLength (WaveViewState::visibleLengthFor (zoom, 222.0), 222.0)
                   == Approx (zoom).margin (1e-12));
    }

    SECTION ("a track shorter than 50 ms, or empty, shows at any zoom without a division by zero")
    {
        CHECK (WaveViewState::visibleLengthFor (0.9, 0.02) == 0.02);
        CHECK (WaveViewState::zoomForVisibleLength (0.01, 0.02) == 0.0);
        auto view = viewOf (0.0, 0.9, 800.0);
        CHECK (std::isfinite (view.xForTime (0.0)));
        CHECK (view.timeForX (0.0) == 0.0);
        view.zoomTo ({ 0.0, 0.0 });
        CHECK (view.viewStart() == 0.0);
    }

    SECTION ("vertical: true level at 1, -60 dB at 0, +24 dB at 1.4")
    {
        CHECK (WaveViewState::displayGainFor (1.0) == 1.0);
        CHECK (WaveViewState::displayGainFor (0.0) == Approx (0.001));
        CHECK (20.0 * std::log10 (WaveViewState::displayGainFor (1.4)) == Approx (24.0));
    }

    SECTION ("the anchor keeps its place through every zoom, except where the track ends")
    {
        auto view = viewOf (222.0, 0.3, 803.0);
        view.centreOn (100.0);
        const auto anchor = view.timeForX (200.0);
        for (const auto zoom : { 0.35, 0.5, 0.9, 0.4, 0.25 })
        {
            view.setHorizontalZoom (zoom, anchor);
            CHECK (view.xForTime (anchor) == Approx (200.0).margin (1.0e-6));
        }
        view.setHorizontalZoom (0.0, anchor);
        CHECK (view.viewStart() == 0.0);
        CHECK (view.visibleLength() == 222.0);
    }

    SECTION ("without a mouse the playhead is the anchor, out of view the middle is")
    {
        auto view = viewOf (222.0, 0.4, 800.0);
        view.centreOn (100.0);
        view.setPlayhead (view.timeForX (600.0), false);
        view.setHorizontalZoom (0.5);
        CHECK (view.xForTime (view.playhead()) == Approx (600.0));
        view.setPlayhead (5.0, false);
        const auto middle = view.timeForX (400.0);
        view.setHorizontalZoom (0.6);
        CHECK (view.xForTime (middle) == Approx (400.0));
    }

    SECTION ("zooming to a stretch shows it with a margin and in the middle")
    {
        auto view = viewOf (222.0, 0.0, 1100.0);
        view.zoomTo ({ 48.0, 50.0 });
        CHECK (view.xForTime (48.0) == Approx (50.0));
        CHECK (view.xForTime (50.0) == Approx (1050.0));
    }
}

TEST_CASE ("WaveViewState scroll, playhead and selection", "[ui][wave]")
{
    auto view = viewOf (100.0, WaveViewState::zoomForVisibleLength (10.0, 100.0), 1000.0);

    SECTION ("the view never leaves the track, also when another track is shorter")
    {
        view.setViewStart (-5.0);
        CHECK (view.viewStart() == 0.0);
        view.setViewStart (95.0);
        CHECK (view.viewStart() == Approx (90.0));
        view.setTrack (20.0, 48000.0);
        CHECK (view.viewStart() + view.visibleLength() == Approx (20.0));
    }

    SECTION ("following turns the page only while playing and only out of view")
    {
        CHECK_FALSE (view.setPlayhead (9.9, true));
        CHECK (view.setPlayhead (10.5, true));
        CHECK (view.xForTime (10.5) == Approx (100.0));
        CHECK_FALSE (view.setPlayhead (50.0, false));
        view.setFollowing (false);
        CHECK_FALSE (view.setPlayhead (70.0, true));
        // At the end of the track there is no further page.
        view.setFollowing (true);
        view.setViewStart (90.0);
        CHECK_FALSE (view.setPlayhead (101.0, true));
        CHECK (view.playhead() == 100.0);
    }

    SECTION ("a selection lies on samples, inside the track, in order; less than a sample is none")
    {
        view.select (3.00001, 1.0);
        REQUIRE (view.selection().has_value());
        CHECK (view.selection()->start == 1.0);
        CHECK (view.selection()->end * 48000.0 == Approx (std::round (view.selection()->end * 48000.0)));
        view.select (-4.0, 200.0);
        CHECK (*view.selection() == WaveRange{ 0.0, 100.0 });
        view.setTrack (30.0, 48000.0);
        CHECK (view.selection()->end == 30.0);
        view.select (5.0, 5.000001);
        CHECK_FALSE (view.selection().has_value());
    }

    SECTION ("snapping takes the nearest target within reach and nothing beyond it")
    {
        const std::vector<double> hits{ 2.0, 2.06, 5.0 };
        view.setPlayhead (7.0, false);
        CHECK (view.snapped (2.035, hits, 4.0) == 2.06); // 100 px a second
        CHECK (view.snapped (2.02, hits, 4.0) == 2.0);
        CHECK (view.snapped (4.95, hits, 4.0) == 4.95);
        CHECK (view.snapped (7.03, hits, 4.0) == 7.0);
        CHECK (view.snapped (0.01, {}, 4.0) == 0.0);
    }
}

TEST_CASE ("Wave gestures", "[ui][wave]")
{
    auto view = viewOf (120.0, WaveViewState::zoomForVisibleLength (12.0, 120.0), 1200.0);
    view.setViewStart (50.0);

    SECTION ("the wheel scrolls, with Shift fast, and stops at the ends")
    {
        CHECK (applyWaveWheel (view, 0.0, 0.0, -1.0, {}));
        CHECK (view.viewStart() == Approx (51.0));
        applyWaveWheel (view, 0.0, 0.0, 1.0, { .shift = true });
        CHECK (view.viewStart() == Approx (45.0));
        // Sideways, as some systems turn Shift and wheel.
        applyWaveWheel (view, 0.0, -1.0, 0.0, { .shift = true });
        CHECK (view.viewStart() == Approx (51.0));
        view.setViewStart (0.0);
        CHECK_FALSE (applyWaveWheel (view, 0.0, 0.0, 1.0, {}));
    }

    SECTION ("with Ctrl it zooms at the mouse, with Ctrl and Shift in height")
    {
        const auto under = view.timeForX (300.0);
        CHECK (applyWaveWheel (view, 300.0, 0.0, 1.0, { .ctrl = true }));
        CHECK (view.visibleLength() < 12.0);
        CHECK (view.xForTime (under) == Approx (300.0));
        CHECK (applyWaveWheel (view, 300.0, 0.0, 1.0, { .shift = true, .ctrl = true }));
        CHECK (view.verticalZoom() == Approx (1.05));
        view.setVerticalZoom (1.4);
        CHECK_FALSE (applyWaveWheel (view, 300.0, 0.0, 1.0, { .shift = true, .ctrl = true }));
    }

    SECTION ("the overview's frame follows the mouse from where it was taken; elsewhere it jumps under it")
    {
        // 10 px a second: the frame covers 500 to 620.
        auto drag = OverviewDrag::begin (view, 530.0, 1200.0);
        CHECK (view.viewStart() == Approx (50.0));
        drag.moveTo (view, 630.0, 1200.0);
        CHECK (view.viewStart() == Approx (60.0));
        drag = OverviewDrag::begin (view, 100.0, 1200.0);
        CHECK (view.viewStart() == Approx (4.0));
        drag.moveTo (view, 110.0, 1200.0);
        CHECK (view.viewStart() == Approx (5.0));
    }

    SECTION ("grips are held within reach, the nearer one, and change roles when pulled past each other")
    {
        CHECK (loopGripAt (view, 200.0) == LoopGrip::none);
        view.select (52.0, 53.0); // x 200 and 300
        CHECK (loopGripAt (view, 206.0) == LoopGrip::start);
        CHECK (loopGripAt (view, 294.0) == LoopGrip::end);
        CHECK (loopGripAt (view, 250.0) == LoopGrip::none);

        CHECK (dragLoopGrip (view, LoopGrip::start, 52.5) == LoopGrip::start);
        CHECK (dragLoopGrip (view, LoopGrip::start, 53.0) == LoopGrip::start);
        CHECK (*view.selection() == WaveRange{ 52.5, 53.0 });
        CHECK (dragLoopGrip (view, LoopGrip::start, 54.0) == LoopGrip::end);
        CHECK (*view.selection() == WaveRange{ 53.0, 54.0 });
        CHECK (dragLoopGrip (view, LoopGrip::end, 500.0) == LoopGrip::end);
        CHECK (view.selection()->end == 120.0);
    }
}

TEST_CASE ("Time ruler", "[ui][wave]")
{
    SECTION ("texts are cut to their digits and never lose a thousandth to a double")
    {
        CHECK (waveTimeText (49.306, 3) == "0:49.306");
        CHECK (waveTimeText (59.9999, 3) == "0:59.999");
        CHECK (waveTimeText (59.9999, 0) == "0:59");
        CHECK (waveTimeText (0.1 + 0.2, 1) == "0:00.3");
        CHECK (waveTimeText (222.0, 3) == "3:42.000");
        CHECK (waveTimeText (3600.0 + 62.5, 2) == "1:01:02.50");
        CHECK (waveTimeText (-1.0, 0) == "0:00");
        CHECK (waveTimeText (std::nan (""), 3) == "0:00.000");
    }

    SECTION ("labels keep their distance at every zoom, small marks too, and digits suffice for the spacing")
    {
        for (auto scale = 0.02; scale < 60'000.0; scale *= 1.07)
        {
            const auto ticks = WaveRulerTicks::forScale (scale);
            const auto pixels = ticks.labelSpacing * scale;
            CHECK (pixels >= 70.0);
            CHECK (pixels / ticks.divisions >= 5.0);
            CHECK (waveTimeText (ticks.labelSpacing, ticks.decimals)
                   != waveTimeText (2.0 * ticks.labelSpacing, ticks.decimals));
            if (scale > 0.15 && scale < 40'000.0)
                CHECK (pixels < 250.0);
        }
        CHECK (WaveRulerTicks::forScale (125.5).labelSpacing == 1.0);
        CHECK (WaveRulerTicks::forScale (3.6).labelSpacing == 30.0);
    }
}
