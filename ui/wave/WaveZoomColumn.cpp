#include "ui/wave/WaveZoomColumn.h"

#include "ui/Palette.h"

namespace tessivar
{

WaveZoomColumn::WaveZoomColumn()
{
    setOpaque (true);
    addAndMakeVisible (larger);
    addAndMakeVisible (smaller);
    larger.onClick = [this] { onZoomSteps (1); };
    smaller.onClick = [this] { onZoomSteps (-1); };
}

void WaveZoomColumn::setSlider (juce::Slider* newSlider)
{
    if (slider != nullptr)
        removeChildComponent (slider);
    slider = newSlider;
    if (slider != nullptr)
        addAndMakeVisible (slider);
    resized();
}

void WaveZoomColumn::paint (juce::Graphics& g)
{
    g.fillAll (palette::panel);
}

void WaveZoomColumn::resized()
{
    auto area = getLocalBounds();
    larger.setBounds (area.removeFromTop (28));
    smaller.setBounds (area.removeFromBottom (30));
    if (slider != nullptr)
        slider->setBounds (area.withTrimmedTop (-2).withTrimmedBottom (-7));
}

} // namespace tessivar
