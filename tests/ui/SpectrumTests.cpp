#include "ui/Palette.h"
#include "ui/wave/SpectrumContent.h"
#include "ui/wave/TessivarWaveViewer.h"

#include "tests/ui/MouseEvents.h"
#include "tests/ui/Snapshots.h"
#include "tests/ui/WaveSignals.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr std::int64_t length = 48000 * 4;

std::shared_ptr<SpectrumTile>
tileOf (SpectrumPlace place, const ChannelWeights& weights, std::uint8_t level = 150)
{
    auto tile = std::make_shared<SpectrumTile>();
    tile->place = place;
    tile->source.assign (SpectrumTile::size, level);
    tile->kept.assign (SpectrumTile::size, level);
    tile->weights = weights;
    return tile;
}

/** Where a time and a frequency lie in the viewer. */
struct SpectrumFixture
{
    SpectrumFixture()
    {
        viewer.setSize (830, 466);
        viewer.setVisible (true);
        auto track = waveTrack (4.0);
        track.contentId = 7;
        viewer.onSpectrumNeeded = [this] (std::vector<SpectrumWish> wishes) { wished = std::move (wishes); };
        viewer.setTrack (track);
        viewer.setWeights (keepOwnDrum);
        viewer.setLook (WaveLook::processed);
        viewer.setSpectrumShown (true);
        (void) snapshot (viewer);
        viewer.sendPendingRequest();
    }

    /** Answers every wish: silence but for a tone in this band, kept before 2 s, removed after that. */
    void answer (std::size_t band)
    {
        for (const auto& wish : std::exchange (wished, {}))
        {
            auto tile = tileOf (wish.place, viewerWeights, 0);
            const auto hop = grid.hop (wish.place.level);

            for (std::int64_t column = 0; column < SpectrumGrid::columnsPerTile; ++column)
            {
                const auto at = static_cast<std::size_t> (column) * SpectrumGrid::numBands + band;
                const auto isKept =
                    (wish.place.index * SpectrumGrid::columnsPerTile + column) * hop < length / 2;

                for (const auto place : { at - 1, at, at + 1 })
                {
                    tile->source[place] = 200; // -20 dB
                    tile->kept[place] = isKept ? 200 : 120;
                }
            }

            viewer.setSpectrumTile (7, tile);
        }
    }

    [[nodiscard]] juce::Point<int> placeOf (double seconds, std::size_t band) const
    {
        // Of what lies between ruler and strip, the lower 64 %.
        const auto bottom =
            466 - TessivarWaveViewer::overviewHeight - 1 - TessivarWaveViewer::stripHeight - 1;
        const auto lanes = bottom - TessivarWaveViewer::rulerHeight;
        const auto height = static_cast<double> (lanes) * 0.64;
        return { juce::roundToInt (viewer.view().xForTime (seconds)),
                 juce::roundToInt (bottom
                                   - height * (static_cast<double> (band) + 0.5) / SpectrumGrid::numBands) };
    }

    [[nodiscard]] juce::Colour colourAt (double seconds, std::size_t band)
    {
        const auto place = placeOf (seconds, band);
        return snapshot (viewer).getPixelAt (place.x, place.y);
    }

    juce::ScopedJuceInitialiser_GUI toolkit;
    TessivarWaveViewer viewer;
    ChannelWeights viewerWeights = keepOwnDrum;
    SpectrumGrid grid{ 48000.0 };
    std::vector<SpectrumWish> wished;
};

bool isMoreOf (juce::Colour colour, juce::Colour one, juce::Colour other)
{
    const auto distance = [&] (juce::Colour c) { return std::abs (c.getHue() - colour.getHue()); };
    return distance (one) < distance (other);
}
} // namespace

TEST_CASE ("SpectrumContent", "[ui][spectrum]")
{
    constexpr ChannelWeights weights{ 1, 0, 0, 0, 0, 0, 0 }, others{ 0, 1, 0, 0, 0, 0, 0 };
    SpectrumContent content;
    content.setTrack (7, 48000.0, 48000 * 1200, true);
    content.setWeights (weights);
    const auto hop = static_cast<double> (content.grid().hop (2));

    SECTION ("wishes for what is seen, then for its neighbours, and for nothing that is there or can't be")
    {
        auto wishes = content.wishesFor (256, hop, 500);
        REQUIRE (wishes.size() == 4);
        CHECK (wishes[0].place == SpectrumPlace{ 2, 1 });
        CHECK (wishes[1].place == SpectrumPlace{ 2, 2 });
        CHECK (wishes[3].place == SpectrumPlace{ 2, 0 });
        CHECK (content.take (7, tileOf ({ 2, 1 }, weights)));
        CHECK (content.take (7, tileOf ({ 2, 2 }, others)));
        CHECK_FALSE (content.take (8, tileOf ({ 2, 3 }, weights)));
        wishes = content.wishesFor (256, hop, 500);
        REQUIRE (wishes.size() == 3);
        CHECK (wishes[0].place == SpectrumPlace{ 2, 2 });
        CHECK (wishes[0].known != nullptr); // its source need not be read again
        CHECK (content.wishesFor (-300, hop, 200).size() <= 1);
        content.setTrack (7, 48000.0, 0, false);
        CHECK (content.wishesFor (0, hop, 500).empty());
    }

    SECTION ("draws a coarser tile, and then finer ones, until the right one is there")
    {
        SpectrumLevels levels (1000);
        auto isWhole = false;
        const auto at = [&] (std::size_t x)
        {
            isWhole = content.read (0, hop, levels);
            return static_cast<int> (levels.source[60 * levels.width + x]);
        };
        CHECK (at (100) == 0);
        content.take (7, tileOf ({ 1, 1 }, weights, 50));
        CHECK (at (100) == 0);
        CHECK (at (200) == 50); // columns 128 to 255
        CHECK_FALSE (isWhole);
        content.take (7, tileOf ({ 5, 0 }, weights, 100));
        CHECK (at (100) == 100);
        CHECK (at (999) == 100);
        CHECK (isWhole);
        content.take (7, tileOf ({ 2, 0 }, weights, 200));
        CHECK (at (100) == 200);
        CHECK (at (400) == 100);
        content.setTrack (9, 48000.0, 48000 * 1200, true);
        CHECK (at (100) == 0);
    }

    SECTION ("keeps 192 tiles, those used last")
    {
        SpectrumLevels levels (10);
        content.take (7, tileOf ({ 2, 0 }, weights));

        for (std::int64_t i = 1; i < 500; ++i)
        {
            content.take (7, tileOf ({ 2, i }, weights));
            content.read (0, hop, levels);
        }

        CHECK (content.numTiles() == SpectrumContent::mostTiles);
        CHECK (levels.source[5] == 150);
        CHECK (content.wishesFor (256 * 20, hop, 100).size() == 3);
    }
}

TEST_CASE ("The spectrum in the viewer", "[ui][spectrum]")
{
    SpectrumFixture f;
    REQUIRE_FALSE (f.wished.empty());
    f.answer (70);

    SECTION ("shows a tone at its place, in the colour of what becomes of it, and nothing beside it")
    {
        CHECK (isMoreOf (f.colourAt (1.0, 70), palette::kick, palette::ember));
        CHECK (isMoreOf (f.colourAt (3.0, 70), palette::ember, palette::kick));
        CHECK (isNear (f.colourAt (1.0, 40), palette::wave, 12));
        CHECK (f.colourAt (1.0, 70).getBrightness() > f.colourAt (3.0, 70).getBrightness());

        f.viewer.setLayersShown (true, false);
        CHECK (isMoreOf (f.colourAt (1.0, 70), palette::kick, palette::ember));
        CHECK (f.colourAt (3.0, 70).getBrightness() < 0.6f * f.colourAt (1.0, 70).getBrightness());
        f.viewer.setLayersShown (false, true);
        CHECK (f.colourAt (1.0, 70).getBrightness() < 0.2f);
        CHECK (isMoreOf (f.colourAt (3.0, 70), palette::ember, palette::kick));

        f.viewer.setLayersShown (true, true);
        f.viewer.setLook (WaveLook::removed);
        CHECK (f.colourAt (3.0, 70).getBrightness() > f.colourAt (1.0, 70).getBrightness());
    }

    SECTION ("follows the knobs: asks anew, and shows the new tiles in place of the old ones")
    {
        f.viewer.sendPendingRequest();
        REQUIRE (f.wished.empty());
        f.viewerWeights = { 0, 0, 0, 0, 0, 1, 0 };
        f.viewer.setWeights (f.viewerWeights);
        f.viewer.sendPendingRequest();
        REQUIRE_FALSE (f.wished.empty());
        CHECK (f.wished[0].known != nullptr);
        CHECK (f.colourAt (1.0, 70).getBrightness() > 0.4f); // what is there stays meanwhile
        f.answer (100);
        CHECK (isNear (f.colourAt (1.0, 70), palette::wave, 12));
        CHECK (isMoreOf (f.colourAt (1.0, 100), palette::kick, palette::ember));
        f.viewer.sendPendingRequest();
        CHECK (f.wished.empty());
    }

    SECTION ("takes the gestures of the waveform and tells what is under the mouse")
    {
        const auto place = f.placeOf (3.0, 70);
        auto* const lane = dynamic_cast<WaveLane*> (f.viewer.getComponentAt (place));
        REQUIRE (lane != nullptr);
        const auto inLane = lane->getLocalPoint (&f.viewer, place).toFloat();
        const auto text = lane->describe (inLane);
        INFO (text);
        CHECK (text.startsWith ("0:0"));
        CHECK (text.contains (juce::String (f.grid.frequencyOf (70) / 1000.0, 1)));
        CHECK (text.contains ("20 dB, 40 dB removed"));

        auto playhead = 0.0;
        f.viewer.onPlayheadMoved = [&] (double seconds) { playhead = seconds; };
        lane->mouseDown (mouseAt (*lane, inLane));
        lane->mouseUp (mouseAt (*lane, inLane));
        CHECK (playhead == Approx (3.0).margin (0.01));
    }

    SECTION ("is there only when wanted, alone where there is no room for both, and copes without a track")
    {
        f.viewer.setSpectrumShown (false);
        const auto ofWave = f.viewer.getComponentAt (400, 300);
        CHECK (dynamic_cast<WavePlot*> (ofWave) != nullptr);
        f.viewer.setSpectrumShown (true);
        CHECK (dynamic_cast<WavePlot*> (f.viewer.getComponentAt (400, 60)) != nullptr);
        CHECK (dynamic_cast<SpectrumPlot*> (f.viewer.getComponentAt (400, 300)) != nullptr);
        f.viewer.setSize (830, 270);
        CHECK (dynamic_cast<SpectrumPlot*> (f.viewer.getComponentAt (400, 60)) != nullptr);
        f.viewer.clearTrack();
        (void) snapshot (f.viewer);
        f.viewer.sendPendingRequest();
        CHECK (f.wished.empty());
        WaveTrack tiny{
            "One", palette::kick, 192000.0, 1, std::make_shared<EnvelopePyramid> (1), nullptr, 3
        };
        f.viewer.setTrack (tiny);
        (void) snapshot (f.viewer, 2.0f);
        f.viewer.sendPendingRequest();
        CHECK (f.wished.size() <= 1);
    }
}

TEST_CASE ("The strip of what is removed", "[ui][reduction]")
{
    // Strokes of the drum at 0.2, 1.2, ... s are kept, leakage half a second later goes.
    SpectrumFixture f;
    const auto row = [] (int y)
    { return 466 - TessivarWaveViewer::overviewHeight - 1 - TessivarWaveViewer::stripHeight + y; };
    const auto pixel = [&] (double seconds, int y) {
        return snapshot (f.viewer).getPixelAt (juce::roundToInt (f.viewer.view().xForTime (seconds)),
                                               row (y));
    };
    const auto isEmber = [] (juce::Colour colour)
    { return colour.getRed() > 80 && colour.getRed() > 1.3 * colour.getBlue(); };
    CHECK (isEmber (pixel (1.78, 33)));
    CHECK_FALSE (isEmber (pixel (1.25, 2)));

    // At once with the knobs: what was removed is kept, and the other way round.
    f.viewer.setWeights ({ 0, 0, 0, 0, 0, 1, 0 });
    CHECK_FALSE (isEmber (pixel (1.78, 2)));
    CHECK (isEmber (pixel (1.25, 33)));
    CHECK (f.viewer.reductionOfTake().maximumDb == Approx (60.0f));

    f.viewer.setWeights ({ 1, 1, 1, 1, 1, 1, 0 });
    CHECK (f.viewer.reductionOfTake().meanDb == Approx (0.0).margin (0.01));
    f.viewer.setWeights ({ 0.1f, 0.1f, 0.1f, 0.1f, 0.1f, 0.1f, 0 });
    CHECK (f.viewer.reductionOfTake().meanDb == Approx (20.0).margin (0.2));
    CHECK (isEmber (pixel (1.25, 20)));
    CHECK_FALSE (isEmber (pixel (1.25, 30)));
    f.viewer.clearTrack();
    CHECK (f.viewer.reductionOfTake().numSteps == 0);
}
