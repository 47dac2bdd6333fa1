#include "benchmarks/ui/UiBenchmarks.h"
#include "tests/ui/WaveSignals.h"

#include "ui/wave/TessivarWaveViewer.h"

#include <algorithm>
#include <functional>
#include <iostream>

namespace tessivar
{

namespace
{

/** 24 tracks of 20 minutes. One is made sample by sample; the others share its signal, built anew so that
    each has its own memory. */
std::vector<WaveTrack> longTracks()
{
    constexpr std::int64_t length = 20 * 60 * 48000;
    constexpr std::int64_t piece = 10 * 48000;
    std::vector<float> source (piece), frames (piece * 7);
    test::WaveDrums drums;
    for (std::size_t i = 0; i < piece; ++i)
    {
        const auto frame = drums.frame (static_cast<double> (i) / 48000.0);
        std::copy (frame.begin(), frame.end(), frames.begin() + static_cast<std::ptrdiff_t> (i * 7));
        source[i] = frame[6];
    }

    std::vector<WaveTrack> tracks;
    const auto start = threadMilliseconds();
    for (int t = 0; t < 24; ++t)
    {
        auto envelope = std::make_shared<EnvelopePyramid> (length);
        auto energies = std::make_shared<ChannelEnergyPyramid> (length);
        for (std::int64_t at = 0; at < length; at += piece)
        {
            envelope->append (source);
            energies->append (frames);
        }
        tracks.push_back ({ "Kick In", juce::Colour (0xff78aeff), 48000.0, length, envelope, energies });
    }
    std::cout << "pyramids of 24 x 20 min: built in " << (threadMilliseconds() - start) / 24.0
              << " ms a track\n";
    return tracks;
}

/** A viewer as it stands in a window of some size, and what a repaint of it costs. */
class Stage
{
public:
    Stage (int windowWidth, int windowHeight, float displayScale) : scale (displayScale)
    {
        viewer.setSize (windowWidth - 344 - 105, windowHeight - 76 - 258);
        const auto pixels = [this] (int logical)
        { return juce::roundToInt (static_cast<float> (logical) * scale); };
        // With alpha, so that copying to it is as slow as copying to a window can be.
        window = juce::Image (juce::Image::ARGB,
                              pixels (viewer.getWidth()),
                              pixels (viewer.getHeight()),
                              true,
                              juce::SoftwareImageType());
        std::cout << "window " << windowWidth << " x " << windowHeight << ", scale " << scale << ", viewer "
                  << window.getWidth() << " x " << window.getHeight() << " pixels\n";
    }

    /** Prints the times of one repaint after each call of `change`; of the whole viewer, or of the areas
        named. */
    void measure (const std::string& name,
                  int rounds,
                  const std::function<void (int)>& change,
                  const juce::RectangleList<int>& areas = {})
    {
        std::vector<double> times;
        for (int i = 0; i < rounds; ++i)
        {
            const auto start = threadMilliseconds();
            change (i);
            juce::Graphics g (window);
            g.addTransform (juce::AffineTransform::scale (scale));
            if (! areas.isEmpty())
                g.reduceClipRegion (areas);
            viewer.paintEntireComponent (g, false);
            times.push_back (threadMilliseconds() - start);
        }
        printTimes (name, times);
    }

    /** Shows the spectrum from tiles of noise, which come at once. */
    void showSpectrum()
    {
        test::WaveNoise noise (3);
        tile.source.resize (SpectrumTile::size);
        tile.kept.resize (SpectrumTile::size);
        for (std::size_t i = 0; i < SpectrumTile::size; ++i)
        {
            tile.source[i] = static_cast<std::uint8_t> (130.0f + 60.0f * noise.next());
            tile.kept[i] = static_cast<std::uint8_t> (tile.source[i] * (0.75f + 0.25f * noise.next()));
        }
        viewer.onSpectrumNeeded = [this] (const std::vector<SpectrumWish>& wishes)
        {
            for (const auto& wish : wishes)
            {
                auto answer = std::make_shared<SpectrumTile> (tile);
                answer->place = wish.place;
                answer->weights = test::keepOwnDrum;
                viewer.setSpectrumTile (0, std::move (answer));
            }
        };
        viewer.setSpectrumShown (true);
    }

    TessivarWaveViewer viewer;

private:
    float scale;
    juce::Image window;
    SpectrumTile tile;
};

void measureWindow (const std::vector<WaveTrack>& tracks, int width, int height, float scale)
{
    Stage stage (width, height, scale);
    auto& viewer = stage.viewer;
    viewer.setTrack (tracks[0]);
    viewer.setWeights (test::keepOwnDrum);
    viewer.setLook (WaveLook::processed);

    for (const auto zoom : { 0.05, 0.2, 0.45, 0.7 })
    {
        viewer.setHorizontalZoom (zoom);
        viewer.setViewStart (100.0);
        const auto step = viewer.view().visibleLength() / 200.0;
        stage.measure ("scroll at zoom " + std::to_string (zoom).substr (0, 4),
                       100,
                       [&] (int i) { viewer.setViewStart (100.0 + i * step); });
    }
    stage.measure ("zoom", 180, [&] (int i) { viewer.setHorizontalZoom (i * 0.005); });
    viewer.setHorizontalZoom (0.3);
    stage.measure ("height zoom", 100, [&] (int i) { viewer.setVerticalZoom (1.0 + i * 0.004); });
    viewer.setVerticalZoom (1.0);
    for (const auto zoom : { 0.0, 0.3 })
    {
        viewer.setHorizontalZoom (zoom);
        const auto turn = [&] (int i) {
            viewer.setWeights ({ 1, 0.01f * static_cast<float> (i), 0, 0, 0, 0, 0 });
        };
        stage.measure ("knob at zoom " + std::to_string (zoom).substr (0, 4), 100, turn);
    }
    stage.measure ("track", 72, [&] (int i) { viewer.setTrack (tracks[static_cast<std::size_t> (i) % 24]); });
    const auto select = [&] (int i) { viewer.setSelection (WaveRange{ 10.0, 11.0 + i * 0.1 }); };
    stage.measure ("loop drag", 100, select);
    const auto play = [&] (int i) { viewer.setPlayhead (100.0 + i * 0.02, true); };
    stage.measure ("playhead, all painted", 100, play);
    juce::RectangleList<int> strips ({ 300, 0, 14, viewer.getHeight() - TessivarWaveViewer::overviewHeight });
    strips.add ({ 200,
                  viewer.getHeight() - TessivarWaveViewer::overviewHeight,
                  3,
                  TessivarWaveViewer::overviewHeight });
    stage.measure ("playhead, strips painted", 100, play, strips);

    // Waveform, spectrum and strip.
    stage.showSpectrum();
    viewer.setWeights (test::keepOwnDrum);
    for (const auto zoom : { 0.0, 0.2, 0.45, 0.7 })
    {
        viewer.setHorizontalZoom (zoom);
        const auto step = viewer.view().visibleLength() / 200.0;
        stage.measure ("spectrum, scroll at zoom " + std::to_string (zoom).substr (0, 4),
                       100,
                       [&] (int i)
                       {
                           viewer.setViewStart (100.0 + i * step);
                           viewer.sendPendingRequest();
                       });
    }
    stage.measure ("spectrum, zoom",
                   180,
                   [&] (int i)
                   {
                       viewer.setHorizontalZoom (i * 0.005);
                       viewer.sendPendingRequest();
                   });
}

} // namespace

void measureWaveViewer()
{
    const juce::ScopedJuceInitialiser_GUI juceIsThere;
    const auto tracks = longTracks();
    const auto start = threadMilliseconds();
    const auto hits =
        findStrongHits (*tracks[0].source, tracks[0].energies.get(), test::keepOwnDrum, 48000.0);
    std::cout << hits.size() << " strokes found in " << (threadMilliseconds() - start) << " ms\n";
    measureWindow (tracks, 1280, 800, 1.0f);
    measureWindow (tracks, 1280, 720, 2.0f);
    measureWindow (tracks, 2560, 1440, 1.0f);
    measureWindow (tracks, 2560, 1440, 2.0f);
}

} // namespace tessivar
