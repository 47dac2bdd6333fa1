#include "ui/Palette.h"
#include "ui/wave/TessivarWaveViewer.h"
#include "ui/wave/WaveRaster.h"
#include "ui/wave/WaveTrackHeader.h"

#include "tests/ui/MouseEvents.h"
#include "tests/ui/Snapshots.h"
#include "tests/ui/WaveSignals.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

namespace
{

/** A viewer of 830 x 466 pixels, as it stands in a window of 1280 x 800, on four seconds of drums. */
struct ViewerFixture
{
    ViewerFixture()
    {
        viewer.setSize (830, 466);
        viewer.setVisible (true);
        viewer.setTrack (waveTrack (4.0));
        viewer.setWeights (keepOwnDrum);
        viewer.setLook (WaveLook::processed);
        viewer.onPlayheadMoved = [this] (double seconds) { playheads.push_back (seconds); };
        viewer.onLoopChanged = [this] (std::optional<WaveRange> range, bool isFinished)
        {
            loop = range;
            finished += isFinished ? 1 : 0;
        };
        viewer.onExactEnvelopeNeeded = [this] (const WaveEnvelopeRequest& request)
        { requests.push_back (request); };
    }

    /** A mouse event at a place in the viewer, sent to the part that lies there. */
    void mouse (void (juce::Component::*handler) (const juce::MouseEvent&),
                juce::Point<int> place,
                juce::Point<int> pressedAt,
                int flags = juce::ModifierKeys::leftButtonModifier,
                int clicks = 1)
    {
        auto* part = viewer.getComponentAt (pressedAt);
        const auto inPart = [&] (juce::Point<int> at) { return part->getLocalPoint (&viewer, at).toFloat(); };
        (part->*handler) (mouseAt (*part, inPart (place), flags, inPart (pressedAt), clicks));
    }

    void drag (juce::Point<int> from, juce::Point<int> to, int flags = juce::ModifierKeys::leftButtonModifier)
    {
        mouse (&juce::Component::mouseDown, from, from, flags);
        mouse (&juce::Component::mouseDrag, to, from, flags);
        mouse (&juce::Component::mouseUp, to, from, flags);
    }

    juce::Image snapshot (float scale = 1.0f)
    {
        return viewer.createComponentSnapshot (viewer.getLocalBounds(), true, scale);
    }

    int xOf (double seconds) const { return juce::roundToInt (viewer.view().xForTime (seconds)); }

    juce::ScopedJuceInitialiser_GUI juceIsThere;
    TessivarWaveViewer viewer;
    std::vector<double> playheads;
    std::optional<WaveRange> loop;
    int finished = 0;
    std::vector<WaveEnvelopeRequest> requests;
};

constexpr int centreRow = 27 + 196; // of the plot, in the viewer

bool isLike (juce::Colour a, juce::Colour b)
{
    return isNear (a, b, 12);
}

} // namespace

TEST_CASE ("fillWaveLayers", "[ui][wave]")
{
    // 80 rows, more than one band; row 0 is the ground.
    juce::Image image (juce::Image::RGB, 8, 80, true, juce::SoftwareImageType());
    const auto fill = [&] (const std::vector<WaveRasterLayer>& layers)
    {
        juce::Graphics g (image);
        g.fillAll (juce::Colours::black);
        juce::Image::BitmapData pixels (image, juce::Image::BitmapData::readWrite);
        fillWaveLayers (pixels, layers, { 40.0f, 10.0f });
    };
    const auto draw = [&] (const std::vector<EnvelopeColumn>& columns, juce::Colour colour, juce::Colour edge)
    {
        fill ({ { columns, colour, edge, 1, 0.5f } });
    };
    const auto pixelAt = [&] (int x, int y) { return image.getPixelAt (x, y + 30); };
    const auto white = juce::Colours::white, red = juce::Colours::red;

    SECTION ("fills from low to high, with the share of a row as its brightness, and stays inside the image")
    {
        draw ({ { -0.25f, 0.55f }, { -9.0f, 9.0f } }, white, {});
        CHECK (pixelAt (0, 3) == juce::Colours::black);
        CHECK (static_cast<int> (pixelAt (0, 4).getRed()) == Approx (127).margin (3));
        CHECK (pixelAt (0, 5) == white);
        CHECK (pixelAt (0, 11) == white);
        CHECK (static_cast<int> (pixelAt (0, 12).getRed()) == Approx (127).margin (3));
        CHECK (pixelAt (1, -30) == white);
        CHECK (pixelAt (1, 49) == white);
    }

    SECTION ("draws the edge all around the shape, along steps too")
    {
        draw ({ { -0.2f, 0.2f }, { -0.8f, 0.8f }, { -0.8f, 0.8f }, { -0.8f, 0.8f } }, white, red);
        CHECK (pixelAt (1, 4) == red); // beside the lower neighbour
        CHECK (pixelAt (1, 10) == white);
        CHECK (pixelAt (2, 2) == red);
        CHECK (pixelAt (2, 3) == white);
        CHECK (pixelAt (2, 17) == red);
    }

    SECTION ("columns of single samples hang together, and silence is a line")
    {
        draw ({ { 0.8f, 0.8f }, { -0.8f, -0.8f }, { 0.0f, 0.0f } }, white, {});
        for (int y = 3; y < 18; ++y)
            CHECK (pixelAt (1, y) == white);
        draw ({ {}, {}, {}, {}, {}, {} }, white, {});
        CHECK (pixelAt (5, 9).getRed() > 100);
        CHECK (pixelAt (5, 7) == juce::Colours::black);
    }
    SECTION ("lays the ground into every row and the front layer over the back one, seam or no seam")
    {
        const std::vector<EnvelopeColumn> back{ { -2.0f, 2.0f }, { -0.3f, 0.3f }, {}, {} };
        const std::vector<EnvelopeColumn> front{ { -0.55f, 0.55f }, { -0.9f, 0.9f }, {}, {} };
        for (const auto frontColour : { white, white.withAlpha (0.5f) })
        {
            juce::Image expected (juce::Image::RGB, 8, 80, true, juce::SoftwareImageType());
            const std::vector<WaveRasterLayer> layers{ { back, red, {}, 0, 0.5f },
                                                       { front, frontColour, {}, 0, 0.5f } };
            {
                juce::Graphics g (expected);
                const auto bar = [&] (int x, float extent, juce::Colour colour)
                {
                    g.setColour (colour);
                    g.fillRect (
                        juce::Rectangle<float> (static_cast<float> (x), 40.0f - extent, 1.0f, 2.0f * extent));
                };
                bar (0, 20.0f, red);
                bar (1, 3.0f, red);
                bar (0, 5.5f, frontColour);
                bar (1, 9.0f, frontColour);
            }
            fill (layers);
            for (int x = 0; x < 2; ++x)
                for (int y = 0; y < 80; ++y)
                    CHECK (isLike (image.getPixelAt (x, y), expected.getPixelAt (x, y)));
        }
    }
}

TEST_CASE ("TessivarWaveViewer shows", "[ui][wave]")
{
    ViewerFixture f;
    // A place in the leakage at 0.72 s and one in the stroke at 1.22 s, a little off the centre line.
    const auto leakage = [&] (const juce::Image& image)
    { return image.getPixelAt (f.xOf (0.73), centreRow - 12); };
    const auto stroke = [&] (const juce::Image& image)
    { return image.getPixelAt (f.xOf (1.22), centreRow - 12); };

    SECTION ("what is removed in ember around what is kept in the colour of the type")
    {
        const auto image = f.snapshot();
        CHECK (
            (isLike (leakage (image), palette::emberFill) || isLike (leakage (image), palette::emberLine)));
        CHECK (isLike (stroke (image), palette::kick));
        CHECK (isLike (image.getPixelAt (f.xOf (0.1), centreRow - 12), palette::wave));
        // The overview says the same, dimmed outside the frame; at fit the frame holds everything.
        CHECK (isLike (image.getPixelAt (f.xOf (1.21), 466 - 18), palette::kick));
    }

    SECTION ("each look in its own colours, and its banner")
    {
        f.viewer.setLook (WaveLook::removed);
        CHECK (isLike (leakage (f.snapshot()), palette::ember));
        CHECK (isLike (stroke (f.snapshot()), juce::Colour (0xff3a4650)));
        f.viewer.setLook (WaveLook::bypassed);
        CHECK (isLike (leakage (f.snapshot()), juce::Colour (0xffc9d2da)));
        f.viewer.setLook (WaveLook::notAnalysed);
        CHECK (isLike (stroke (f.snapshot()), palette::sourceUnanalysed));
        f.viewer.setLook (WaveLook::asIs);
        CHECK (isLike (leakage (f.snapshot()), palette::kick));
    }

    SECTION ("no layer that is hidden")
    {
        f.viewer.setLayersShown (true, false);
        CHECK (isLike (leakage (f.snapshot()), palette::wave));
        CHECK (isLike (stroke (f.snapshot()), palette::kick));
        f.viewer.setLayersShown (false, true);
        CHECK_FALSE (isLike (stroke (f.snapshot()), palette::kick));
    }

    SECTION ("the playhead as a light strip, and the loop in ice")
    {
        f.viewer.setPlayhead (2.0, false);
        f.viewer.setSelection (WaveRange{ 2.4, 3.1 });
        f.viewer.setLooping (true);
        for (const auto scale : { 1.0f, 1.5f, 2.0f })
        {
            const auto image = f.snapshot (scale);
            const auto at = [&] (double x, int y)
            {
                return image.getPixelAt (static_cast<int> (static_cast<float> (x) * scale),
                                         static_cast<int> (static_cast<float> (y) * scale));
            };
            CHECK (at (f.xOf (2.0), 60).getBrightness() > 0.85f);
            CHECK (isLike (at (f.xOf (2.4) + 0.1, 60), palette::iceMid));
            CHECK (at (f.xOf (2.45), 60).getBlue() > at (f.xOf (2.3), 60).getBlue() + 10);
        }
    }

    SECTION ("a knob's estimate at once and the exact columns when they come")
    {
        f.viewer.setHorizontalZoom (0.5);
        f.viewer.setViewStart (1.25);
        (void) f.snapshot();
        f.viewer.sendPendingRequest();
        REQUIRE (f.requests.size() == 1);
        const auto request = f.requests.back();
        CHECK (request.numColumns >= 803);
        const auto size = static_cast<std::size_t> (request.numColumns);
        f.viewer.setExactEnvelope ({ request.serial,
                                     request.firstColumn,
                                     std::vector<EnvelopeColumn> (size, { -0.9f, 0.9f }),
                                     std::vector<EnvelopeColumn> (size, { -0.1f, 0.1f }) });
        auto image = f.snapshot();
        CHECK (isLike (image.getPixelAt (300, centreRow - 100), palette::emberFill));
        CHECK (isLike (image.getPixelAt (300, centreRow - 12), palette::kick));

        f.viewer.setWeights ({ 0, 0, 0, 0, 0, 0, 0 });
        image = f.snapshot();
        CHECK (isLike (image.getPixelAt (300, centreRow - 12), palette::emberFill));
        f.viewer.sendPendingRequest();
        REQUIRE (f.requests.size() == 2);
        CHECK_FALSE (f.requests.back().wantsSource);
    }

    SECTION ("the step from one setting to the other as a fade")
    {
        CHECK (isLike (stroke (f.snapshot()), palette::kick));
        f.viewer.setWeights ({ 0, 0, 0, 0, 0, 1, 0 }, true);
        CHECK (isLike (stroke (f.snapshot()), palette::kick));
        CHECK (f.viewer.advanceFade (0.045));
        const auto between = stroke (f.snapshot());
        CHECK_FALSE (isLike (between, palette::kick));
        CHECK_FALSE (isLike (between, palette::emberLine));
        CHECK_FALSE (f.viewer.advanceFade (0.046));
        CHECK_FALSE (f.viewer.advanceFade (0.016));
        CHECK ((isLike (stroke (f.snapshot()), palette::emberLine)
                || isLike (stroke (f.snapshot()), palette::emberFill)));
    }

    SECTION ("nothing, and no playhead, without a track")
    {
        f.viewer.clearTrack();
        CHECK (isLike (f.snapshot().getPixelAt (300, centreRow - 12), palette::wave));
        CHECK (f.viewer.getTitle() == "Waveform");
    }
}

TEST_CASE ("TessivarWaveViewer gestures", "[ui][wave]")
{
    ViewerFixture f;

    SECTION ("a click moves the playhead, a drag selects and leaves the playhead alone")
    {
        f.drag ({ 400, 100 }, { 400, 100 });
        REQUIRE (f.playheads.size() == 1);
        CHECK (f.playheads[0] == Approx (f.viewer.view().timeForX (400.0)));
        CHECK_FALSE (f.loop.has_value());

        f.drag ({ 600, 100 },
                { 480, 140 },
                juce::ModifierKeys::leftButtonModifier | juce::ModifierKeys::altModifier);
        REQUIRE (f.loop.has_value());
        CHECK (f.loop->start == Approx (f.viewer.view().timeForX (480.0)).margin (1e-4));
        CHECK (f.loop->end == Approx (f.viewer.view().timeForX (600.0)).margin (1e-4));
        CHECK (f.finished == 1);
        CHECK (f.playheads.size() == 1);
        f.viewer.clearSelection();
        CHECK_FALSE (f.loop.has_value());
    }

    SECTION ("a double click selects between the strokes around it and moves the playhead once")
    {
        const juce::Point<int> place{ f.xOf (1.6), 100 };
        f.drag (place, place);
        f.mouse (&juce::Component::mouseDown, place, place, juce::ModifierKeys::leftButtonModifier, 2);
        f.mouse (&juce::Component::mouseUp, place, place, juce::ModifierKeys::leftButtonModifier, 2);
        f.mouse (&juce::Component::mouseDoubleClick, place, place, juce::ModifierKeys::leftButtonModifier, 2);
        CHECK (f.playheads.size() == 1);
        REQUIRE (f.loop.has_value());
        CHECK (f.loop->start == Approx (1.2).margin (0.006));
        CHECK (f.loop->end == Approx (2.2).margin (0.006));
    }

    SECTION ("a middle drag pans, and so does the overview's frame")
    {
        f.viewer.setHorizontalZoom (0.4);
        f.viewer.setViewStart (1.0);
        const auto perPixel = 1.0 / f.viewer.view().pixelsPerSecond();
        f.drag ({ 400, 100 }, { 300, 100 }, juce::ModifierKeys::middleButtonModifier);
        CHECK (f.viewer.view().viewStart() == Approx (1.0 + 100.0 * perPixel));
        CHECK (f.playheads.empty());
        f.viewer.setViewStart (1.0);
        f.drag ({ 210, 440 }, { 250, 440 });
        CHECK (f.viewer.view().viewStart() == Approx (1.0 + 40.0 * 4.0 / 803.0));
    }

    SECTION ("grips in the ruler move the loop, the rest of the ruler the playhead")
    {
        f.viewer.setSelection (WaveRange{ 1.5, 2.5 });
        const auto alt = juce::ModifierKeys::leftButtonModifier | juce::ModifierKeys::altModifier;
        f.drag ({ f.xOf (2.5), 20 }, { f.xOf (3.0), 20 }, alt);
        REQUIRE (f.loop.has_value());
        CHECK (f.loop->start == 1.5);
        CHECK (f.loop->end == Approx (3.0).margin (0.005));
        CHECK (f.playheads.empty());
        f.drag ({ 50, 8 }, { 90, 8 });
        CHECK (f.playheads.back() == Approx (f.viewer.view().timeForX (90.0)));
    }

    SECTION ("the sliders and the view show the same zoom, whoever moves it; a slider may go first")
    {
        auto slider = std::make_unique<juce::Slider>();
        slider->setRange (0.0, 0.9);
        f.viewer.setHorizontalZoomSlider (slider.get());
        f.viewer.zoomHorizontally (2);
        CHECK (slider->getValue() == Approx (0.1));
        slider->setValue (0.6, juce::sendNotificationSync);
        CHECK (f.viewer.view().horizontalZoom() == Approx (0.6));
        slider.reset();
        f.viewer.fit();
        CHECK (f.viewer.view().horizontalZoom() == 0.0);
    }

    SECTION ("loop in and out at the playhead, and words for assistive technology")
    {
        f.viewer.setPlayhead (1.0, false);
        f.viewer.setLoopStartToPlayhead();
        f.viewer.setPlayhead (2.5, false);
        f.viewer.setLoopEndToPlayhead();
        CHECK (f.viewer.accessibleValue() == "playhead 0:02.500, loop 0:01.000 to 0:02.500");
        CHECK (f.viewer.getTitle() == "Waveform of Kick In");
    }
}
