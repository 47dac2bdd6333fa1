#pragma once

#include "ui/wave/WaveLane.h"

namespace tessivar
{

/** How much is removed when: hangs from the upper edge, 0 dB, down to 30 dB at the lower one; bright as far
    as the mean of what a column of pixels stands for, dim as far as the maximum. Empty where the track is
    silent. */
class ReductionStrip : public WaveLane
{
public:
    using WaveLane::WaveLane;

    static constexpr float lowestDb = 30.0f;

    /** "0:49.306 · 12 dB removed" */
    [[nodiscard]] juce::String describe (juce::Point<float> place) override;

private:
    void drawImage (juce::Image& image, const ImageKey& key) override;

    /** Of the samples [from, to). */
    [[nodiscard]] ReductionCurve::Stretch reductionOf (double from, double to);
};

} // namespace tessivar
