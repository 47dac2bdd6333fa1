#pragma once

#include "ui/KnobGeometry.h"
#include "ui/ResourceImages.h"
#include "ui/TessivarKnobTooltip.h"

#include <functional>

namespace tessivar
{

/** A knob made of image layers or, below size class 10, a slider made of the slider images.

    Only the dot turns. The knob layers are stretched to the bounds, which should be square. It never takes
    the keyboard focus; the dock shows the focus ring and turns the knob by keys. Ranges start at 0 and have
    no step. The value label isn't owned and must outlive the knob.
*/
class TessivarKnobComponent : public juce::Slider
{
public:
    /** @param sizeClass  39 for the large knob, 23 for the small one, 0 for a slider
        @param valueLabel  shown on a double-click; may be null
        @param alternateSet  picks among the image sets, see knobImagePrefix
    */
    TessivarKnobComponent (const ResourceImages& images,
                           float sizeClass,
                           TessivarKnobTooltip* valueLabel,
                           bool alternateSet);

    /** The value restored by a shift-click. */
    void setDefaultValue (float value) { defaultValue = value; }

    /** Called on a right-click with its position on the screen. */
    std::function<void (juce::Point<int>)> onContextMenu;

    /** Shows the value label, if there is one and the knob is enabled. */
    void showValueLabel();

    /** Fraction of the range, 0 to 1. */
    float getProportion() const;

    void mouseDown (const juce::MouseEvent& event) override;
    void mouseDrag (const juce::MouseEvent& event) override;
    void mouseUp (const juce::MouseEvent& event) override;
    void mouseDoubleClick (const juce::MouseEvent&) override { showValueLabel(); }
    void mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel) override;
    void mouseEnter (const juce::MouseEvent& event) override;
    void mouseExit (const juce::MouseEvent& event) override;
    void paint (juce::Graphics& g) override;

private:
    bool isSlider() const { return sizeClass < 10.0f; }
    void loadKnobImages (const ResourceImages& images, bool alternateSet);
    void paintKnob (juce::Graphics& g) const;
    void setProportion (double proportion);

    juce::Image base, baseDisabled, midGradient, topLightDetail, topShadow, topGradient, topGradientDisabled,
        topLight, dotOn;
    const SliderArt sliderArt;
    float defaultValue = 0.0f;
    const float sizeClass;
    TessivarKnobTooltip* const label;

    enum class Gesture
    {
        none,
        reset, // a shift-click set the default; nothing else happens until the release
        menu,
        drag
    };
    Gesture gesture = Gesture::none;
    KnobDrag drag;
    juce::Point<float> lastDragPosition, mouseDownOnScreen;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarKnobComponent)
};

} // namespace tessivar
