#pragma once

#include "ui/wave/SpectrumRaster.h"
#include "ui/wave/WaveLane.h"

#include <optional>

namespace tessivar
{

/** The spectrogram of the track on the waveform's time axis, with an axis in Hz. */
class SpectrumPlot : public WaveLane
{
public:
    using WaveLane::WaveLane;

    /** "0:49.306 · 1.24 kHz · -38 dB, 12 dB removed" */
    [[nodiscard]] juce::String describe (juce::Point<float> place) override;

private:
    void drawImage (juce::Image& image, const ImageKey& key) override;
    void dimUnselected (juce::Graphics& g) const;
    void drawAxis (juce::Graphics& g) const;
    [[nodiscard]] std::uint64_t contentVersion() const override
    {
        return scene.version + scene.spectrum.version();
    }

    SpectrumLevels levels;
    SpectrumColours::Settings settings; // that the colours were made for
    std::optional<SpectrumColours> colours;
};

} // namespace tessivar
