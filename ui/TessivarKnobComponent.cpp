#include "ui/TessivarKnobComponent.h"

#include "ui/Call.h"

namespace tessivar
{
namespace
{

constexpr float disabledDotAlpha = 0.2f;

// X11 reports this much per notch of the wheel; smooth devices report parts of it.
constexpr double wheelNotch = 50.0 / 256.0;

bool isFine (const juce::ModifierKeys& modifiers)
{
    return modifiers.isCommandDown() || modifiers.isCtrlDown();
}

} // namespace

TessivarKnobComponent::TessivarKnobComponent (const ResourceImages& images,
                                              float sizeClassToUse,
                                              TessivarKnobTooltip* valueLabel,
                                              bool alternateSet)
    : sliderArt (images), sizeClass (sizeClassToUse), label (valueLabel)
{
    loadKnobImages (images, alternateSet);

    setSliderStyle (isSlider() ? LinearHorizontal : RotaryHorizontalVerticalDrag);
    setTextBoxStyle (NoTextBox, true, 0, 0);
    setWantsKeyboardFocus (false);
    setMouseClickGrabsKeyboardFocus (false);
    // The toolkit's velocity modifier would take over the fine modifier.
    setVelocityModeParameters (1.0, 1, 0.0, false);
}

void TessivarKnobComponent::loadKnobImages (const ResourceImages& images, bool alternateSet)
{
    const auto prefix = knobImagePrefix (sizeClass, alternateSet);
    if (prefix.isEmpty())
        return;

    const auto layer = [&] (const char* name) { return images.get (prefix + name + ".png"); };
    base = layer ("base");
    // Only the large set looks different when disabled; the others keep their base, deliberately.
    baseDisabled = layer (knobHasDisabledBase (sizeClass, alternateSet) ? "base disabled" : "base");
    midGradient = layer ("mid gradient");
    topLightDetail = layer ("top light detail");
    topShadow = layer ("top shadow");
    topGradient = layer ("top gradient");
    topGradientDisabled = layer ("top gradient disabled");
    topLight = layer ("top light");
    dotOn = layer ("dot on");
}

float TessivarKnobComponent::getProportion() const
{
    const auto range = getRange();
    if (range.isEmpty())
        return 0.0f;
    return static_cast<float> (juce::jlimit (0.0, 1.0, (getValue() - range.getStart()) / range.getLength()));
}

void TessivarKnobComponent::setProportion (double proportion)
{
    setValue (getMinimum() + proportion * (getMaximum() - getMinimum()), juce::sendNotificationSync);
}

void TessivarKnobComponent::mouseDown (const juce::MouseEvent& event)
{
    gesture = Gesture::none;
    if (! isEnabled())
        return;

    if (event.mods.isPopupMenu())
    {
        gesture = Gesture::menu;
        call (onContextMenu, event.getScreenPosition());
        return;
    }
    if (event.mods.isShiftDown())
    {
        gesture = Gesture::reset;
        setValue (static_cast<double> (defaultValue), juce::sendNotificationSync);
        return;
    }
    gesture = Gesture::drag;
    drag.proportion = static_cast<double> (getProportion());
    lastDragPosition = event.position;
    mouseDownOnScreen = event.source.getScreenPosition();
    Slider::mouseDown (event);
}

void TessivarKnobComponent::mouseDrag (const juce::MouseEvent& event)
{
    if (gesture != Gesture::drag)
        return;
    if (isSlider())
    {
        Slider::mouseDrag (event);
        return;
    }
    // The modifier may change on the way, so each movement counts for itself and the knob never jumps.
    event.source.enableUnboundedMouseMovement (true, false);
    const auto moved = event.position - lastDragPosition;
    lastDragPosition = event.position;
    drag.move (static_cast<double> (moved.x), static_cast<double> (moved.y), isFine (event.mods));
    setProportion (drag.proportion);
}

void TessivarKnobComponent::mouseUp (const juce::MouseEvent& event)
{
    if (gesture != Gesture::drag)
        return;
    gesture = Gesture::none;
    Slider::mouseUp (event);
    if (! isSlider() && event.source.isUnboundedMouseMovementEnabled())
    {
        auto source = event.source;
        source.enableUnboundedMouseMovement (false);
        source.setScreenPosition (mouseDownOnScreen);
    }
}

void TessivarKnobComponent::showValueLabel()
{
    if (label == nullptr || ! isEnabled())
        return;
    if (auto* parent = getParentComponent(); parent != nullptr && ! parent->isShowing())
        return;
    label->showText (percentText (getValue(), getMaximum()));
}

void TessivarKnobComponent::mouseWheelMove (const juce::MouseEvent& event,
                                            const juce::MouseWheelDetails& wheel)
{
    if (! isEnabled() || ! isScrollWheelEnabled() || event.mods.isAnyMouseButtonDown())
    {
        Component::mouseWheelMove (event, wheel);
        return;
    }
    const auto delta = static_cast<double> (wheel.deltaY) * (wheel.isReversed ? -1.0 : 1.0);
    if (delta == 0.0)
        return;
    const auto steps = wheel.isSmooth ? delta / wheelNotch : (delta > 0.0 ? 1.0 : -1.0);
    setProportion (KnobDrag::afterWheel (static_cast<double> (getProportion()), steps, isFine (event.mods)));
}

void TessivarKnobComponent::mouseEnter (const juce::MouseEvent& event)
{
    Slider::mouseEnter (event);
    // The scale ring around the knob belongs to its parent and brightens with it.
    if (auto* parent = getParentComponent())
        parent->repaint (getBounds().expanded (24));
}

void TessivarKnobComponent::mouseExit (const juce::MouseEvent& event)
{
    Slider::mouseExit (event);
    if (auto* parent = getParentComponent())
        parent->repaint (getBounds().expanded (24));
}

void TessivarKnobComponent::paint (juce::Graphics& g)
{
    g.setImageResamplingQuality (juce::Graphics::highResamplingQuality);
    if (isSlider())
        sliderArt.paint (g, *this);
    else
        paintKnob (g);
}

void TessivarKnobComponent::paintKnob (juce::Graphics& g) const
{
    const auto bounds = getLocalBounds().toFloat();
    const auto enabled = isEnabled();
    for (const auto* layer : { enabled ? &base : &baseDisabled,
                               &midGradient,
                               &topLightDetail,
                               &topShadow,
                               enabled ? &topGradient : &topGradientDisabled,
                               &topLight })
        g.drawImage (*layer, bounds);

    g.setOpacity (enabled ? 1.0f : disabledDotAlpha);
    g.drawImage (dotOn, knobDotBounds (bounds, sizeClass, getProportion()));
}

} // namespace tessivar
