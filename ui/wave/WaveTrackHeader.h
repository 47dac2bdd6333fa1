#pragma once

#include "ui/Buttons.h"
#include "ui/Palette.h"
#include "ui/wave/WaveButtons.h"
#include "ui/wave/WaveContent.h"

#include <functional>

namespace tessivar
{

/** The bar above the waveform: which track it is, what the colours mean, and the horizontal zoom. 48 pixels
    high. */
class WaveTrackHeader : public juce::Component, public juce::SettableTooltipClient
{
public:
    static constexpr int height = 48;

    struct Content
    {
        juce::String name;
        juce::StringArray facts; // the most important first: what has no room is left out
        Icon icon = Icon::none;
        juce::Colour colour; // of the drum type
        WaveLook look = WaveLook::notAnalysed;
        juce::String hint{}; // what the analysis found, in a sentence
    };

    WaveTrackHeader();

    std::function<void (bool kept, bool removed)> onLayersShown;
    std::function<void (bool shouldShow)> onSpectrumShown;
    std::function<void (int steps)> onZoomSteps;
    std::function<void()> onZoomToSelection;
    std::function<void()> onFit;
    std::function<void (bool shouldShow)> onBleedShown;

    /** The legend shows only for a track with two layers. */
    void setContent (const Content& newContent);
    /** The horizontal zoom slider; becomes a child, isn't owned. Null removes it. */
    void setSlider (juce::Slider* newSlider);
    void showOrHideKept() { showOrHide (kept); }
    void showOrHideRemoved() { showOrHide (removed); }
    void setLayersShown (bool showsKept, bool showsRemoved)
    {
        kept.setToggleState (showsKept, juce::dontSendNotification);
        removed.setToggleState (showsRemoved, juce::dontSendNotification);
    }
    void setSpectrumShown (bool isShown) { spectrum.setToggleState (isShown, juce::dontSendNotification); }
    void setBleedShown (bool isShown) { bleed.setToggleState (isShown, juce::dontSendNotification); }
    void setCanZoomToSelection (bool can) { zoomToSelection.setEnabled (can); }

    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    static void showOrHide (WaveLegendButton& layer)
    {
        if (layer.isVisible())
            layer.triggerClick();
    }

    Content content;
    WaveLegendButton kept{ "Kept" };
    WaveLegendButton removed{ "Removed" };
    WaveIconButton spectrum{ "Spectrum", Icon::spectrum, 16.0f, palette::textMid };
    WaveIconButton smaller{ "Zoom out", Icon::minus, 11.0f, palette::outline };
    WaveIconButton larger{ "Zoom in", Icon::plus, 11.0f, palette::outline };
    WaveIconButton zoomToSelection{ "Zoom to selection", Icon::zoomToSelection, 16.0f, palette::textMid };
    WaveIconButton fit{ "Show the whole track", Icon::fit, 16.0f, palette::textMid };
    IconButton bleed{ "Bleed map", Icon::microphone };
    juce::Component::SafePointer<juce::Slider> slider;
    int dividerX = 0;
    int textEnd = 0; // x where the facts must end
};

} // namespace tessivar
