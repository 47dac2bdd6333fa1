#pragma once

#include "ui/Palette.h"
#include "ui/wave/WaveButtons.h"

#include <functional>

namespace tessivar
{

/** The column right of the waveform: zoom in, the vertical zoom slider, zoom out. */
class WaveZoomColumn : public juce::Component
{
public:
    WaveZoomColumn();

    std::function<void (int steps)> onZoomSteps;

    /** The slider between the buttons. Not owned; removed by null or by its own end. */
    void setSlider (juce::Slider* newSlider);

    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    WaveIconButton larger{ "Zoom in vertically", Icon::plus, 11.0f, palette::outline };
    WaveIconButton smaller{ "Zoom out vertically", Icon::minus, 11.0f, palette::outline };
    juce::Component::SafePointer<juce::Slider> slider;
};

} // namespace tessivar
