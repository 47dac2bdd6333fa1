#pragma once

#include "ui/wave/WaveLane.h"

#include <vector>

namespace tessivar
{

/** The waveform with grid, level lines and selection. */
class WavePlot : public WaveLane
{
public:
    using WaveLane::WaveLane;

private:
    void drawImage (juce::Image& image, const ImageKey& key) override;
    void drawLayers (juce::Image& image, const ImageKey& key);
    void drawOverlay (juce::Graphics& g) const;

    std::vector<EnvelopeColumn> sourceColumns;
    std::vector<EnvelopeColumn> processedColumns;
};

} // namespace tessivar
