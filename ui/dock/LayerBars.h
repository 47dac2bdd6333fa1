#pragma once

#include "ui/dock/DockSection.h"
#include "ui/dock/DockState.h"

namespace tessivar
{

/** Six bars, one per layer: how much of it is heard. */
class LayerBars : public DockSection, public juce::SettableTooltipClient
{
public:
    LayerBars();

    void setState (const DockState& newState);
    void paint (juce::Graphics& g) override;

private:
    void paintBar (juce::Graphics& g, juce::Rectangle<float> bar, const LayerWeight& weight) const;

    bool available = false;
    std::array<LayerWeight, 6> layers{};

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (LayerBars)
};

} // namespace tessivar
