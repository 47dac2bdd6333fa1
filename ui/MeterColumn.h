#pragma once

#include "ui/TessivarSuppressionMeterComponent.h"

namespace tessivar
{

/** The column right of the waveform: caption, suppression meter and, beside it, the figures of the scale,
    which the column draws. The meter takes the largest pitch that fits and stays at the top.
*/
class MeterColumn : public juce::Component
{
public:
    explicit MeterColumn (const ResourceImages& images);

    static constexpr int width = 104;

    TessivarSuppressionMeterComponent& getMeter() { return meter; }

    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    static constexpr int meterTop = 26;

    TessivarSuppressionMeterComponent meter;
    int pitch = 8;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (MeterColumn)
};

} // namespace tessivar
