#pragma once

#include "ui/wave/SpectrumContent.h"
#include "ui/wave/WaveContent.h"

#include <array>
#include <cstdint>

namespace tessivar
{

/** Colours of a spectrogram: the hue tells how much of a band is kept, from the colour of what is removed to
    that of what is kept; the brightness tells how loud it is.
*/
class SpectrumColours
{
public:
    struct Settings
    {
        WaveLook look = WaveLook::notAnalysed;
        juce::Colour typeColour;
        bool hasTwoLayers = false;
        bool showsKept = true, showsRemoved = true; // of two layers
        double gainDb = 0.0;                        // brighter by so much

        bool operator== (const Settings&) const = default;
    };

    explicit SpectrumColours (const Settings& settings);

    /** Of levels as SpectrumTile has them. */
    [[nodiscard]] juce::PixelRGB at (std::uint8_t source, std::uint8_t kept) const noexcept
    {
        const auto removed = (std::max (source, kept) - kept) / removedStep;
        return table[static_cast<std::size_t> (source * numShares + std::min (removed, numShares - 1))];
    }

private:
    static constexpr int numShares = 64, removedStep = 2; // of one dB

    std::array<juce::PixelRGB, 256 * numShares> table;
};

/** Fills an RGB image with a spectrogram as wide as it is, the lowest band at its lower edge. */
void fillSpectrum (juce::Image::BitmapData& pixels,
                   const SpectrumLevels& levels,
                   const SpectrumColours& colours);

/** The band, or what lies between two, at a height of a picture, 0 at its upper edge, 1 at its lower one; and
    the other way round. */
[[nodiscard]] double spectrumBandAt (double height) noexcept;
[[nodiscard]] double spectrumHeightOf (double band) noexcept;

} // namespace tessivar
