#include "ui/wave/SpectrumRaster.h"

#include "ui/Palette.h"
#include "ui/wave/WaveRaster.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace tessivar
{

namespace
{

constexpr auto loudestDb = -24.0, rangeDb = 66.0; // drawn brightest, and from there down to black
constexpr auto gamma = 1.15;
constexpr auto glow = 0.35f, glowFrom = 0.8f; // how white the loudest of a bright colour becomes

/** A colour as bright as a level makes it. */
juce::Colour lit (juce::Colour colour, double levelDb, double gainDb)
{
    const auto height = std::clamp ((levelDb + gainDb - loudestDb) / rangeDb + 1.0, 0.0, 1.0);
    const auto strength = static_cast<float> (std::pow (height, gamma)) * colour.getFloatAlpha();
    const auto excess = std::max (0.0f, (strength - glowFrom) / (1.0f - glowFrom));
    // A dim colour first becomes brighter: with white in it, its hue would tell something else.
    const auto brightest = colour.withAlpha (1.0f).withBrightness (
        colour.getBrightness() + (1.0f - colour.getBrightness()) * excess * 0.6f);
    const auto white = glow * excess * std::pow (colour.getBrightness(), 6.0f);
    return palette::wave.interpolatedWith (brightest.interpolatedWith (juce::Colours::white, white),
                                           strength);
}

} // namespace

SpectrumColours::SpectrumColours (const Settings& settings)
{
    const auto layers = WaveLayerColours::forLook (settings.look, settings.typeColour);
    // Under a look with an edge the fill is meant to be dim, yet the loudest of it should be seen.
    const auto removed = layers.sourceEdge.isTransparent() ? layers.source : layers.sourceEdge;
    const auto kept = layers.processed;

    for (int byte = 0; byte < 256; ++byte)
        for (int share = 0; share < numShares; ++share)
        {
            const auto sourceDb = static_cast<double> (SpectrumTile::levelDbOf (static_cast<float> (byte)));
            const auto keptDb = sourceDb - share;
            const auto keptShare = static_cast<float> (std::pow (10.0, -share / 20.0));
            const auto removedDb =
                sourceDb + 10.0 * std::log10 (1.0 - std::pow (10.0, -share / 10.0) + 1.0e-12);
            auto colour = lit (removed, sourceDb, settings.gainDb);

            if (settings.hasTwoLayers && settings.showsKept && settings.showsRemoved)
                colour =
                    lit (removed.interpolatedWith (kept.withAlpha (1.0f), keptShare * kept.getFloatAlpha()),
                         sourceDb,
                         settings.gainDb);
            else if (settings.hasTwoLayers)
                colour = settings.showsKept      ? lit (kept, keptDb, settings.gainDb)
                         : settings.showsRemoved ? lit (removed, removedDb, settings.gainDb)
                                                 : palette::wave;

            auto& pixel = table[static_cast<std::size_t> (byte * numShares + share)];
            pixel.set (colour.getPixelARGB());
        }
}

double spectrumBandAt (double height) noexcept
{
    return (1.0 - height) * static_cast<double> (SpectrumGrid::numBands) - 0.5;
}

double spectrumHeightOf (double band) noexcept
{
    return 1.0 - (band + 0.5) / static_cast<double> (SpectrumGrid::numBands);
}

void fillSpectrum (juce::Image::BitmapData& pixels,
                   const SpectrumLevels& levels,
                   const SpectrumColours& colours)
{
    const auto width = std::min (levels.width, static_cast<std::size_t> (pixels.width));
    std::vector<std::uint8_t> source (width), kept (width);
    const auto last = static_cast<double> (SpectrumGrid::numBands - 1);

    for (int y = 0; y < pixels.height; ++y)
    {
        const auto band = std::clamp (spectrumBandAt ((y + 0.5) / pixels.height), 0.0, last);
        const auto lower = static_cast<std::size_t> (band);
        const auto upper = std::min (lower + 1, SpectrumGrid::numBands - 1);
        const auto share = static_cast<unsigned> ((band - static_cast<double> (lower)) * 256.0);

        // A pass for each signal, which the compiler turns into vectors.
        const auto mix = [&] (const std::vector<std::uint8_t>& from, std::vector<std::uint8_t>& to)
        {
            const auto* const a = from.data() + lower * levels.width;
            const auto* const b = from.data() + upper * levels.width;
            for (std::size_t x = 0; x < width; ++x)
                to[x] = static_cast<std::uint8_t> ((a[x] * (256u - share) + b[x] * share) >> 8);
        };
        mix (levels.source, source);
        mix (levels.kept, kept);

        auto* pixel = pixels.getLinePointer (y);
        for (std::size_t x = 0; x < width; ++x, pixel += pixels.pixelStride)
            *reinterpret_cast<juce::PixelRGB*> (pixel) = colours.at (source[x], kept[x]);
    }
}

} // namespace tessivar
