#include "ui/browser/TrackStrip.h"

#include "ui/Call.h"
#include "ui/FocusRings.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/transport/TransportState.h"

#include <cmath>

namespace tessivar
{
namespace
{

constexpr double detent = 0.6; // dB around 0 in which a drag rests there
constexpr double step = 0.5, fineStep = 0.1, coarseStep = 3.0;
constexpr double middleDb = -12.0; // of the fader's travel
constexpr int buttonWidth = 28, gap = 4;

double stepFor (const juce::ModifierKeys& modifiers)
{
    return modifiers.isCommandDown() ? fineStep : modifiers.isShiftDown() ? coarseStep : step;
}

} // namespace

juce::String faderText (float levelDb)
{
    return levelDb > MixStrip::lowestDb ? volumeText (levelDb) : juce::String ("Off");
}

StripFader::StripFader (const ResourceImages& images) : art (images)
{
    setSliderStyle (LinearHorizontal);
    setTextBoxStyle (NoTextBox, true, 0, 0);
    setRange (static_cast<double> (MixStrip::lowestDb), static_cast<double> (MixStrip::highestDb), fineStep);
    setSkewFactorFromMidPoint (middleDb);
    setDoubleClickReturnValue (true, 0.0);
    setMouseDragSensitivity (200);
    setWantsKeyboardFocus (true);
    setMouseClickGrabsKeyboardFocus (false);
    textFromValueFunction = [] (double level) { return faderText (static_cast<float> (level)); };
}

void StripFader::setLevel (float levelDb)
{
    if (! isMouseButtonDown())
        setValue (static_cast<double> (levelDb), juce::dontSendNotification);

    setTooltip ("Level in the kit: " + faderText (levelDb)
                + ". A double-click or Backspace sets 0 dB. Exports don't take it.");
}

double StripFader::snapValue (double attempted, DragMode mode)
{
    return mode != notDragging && std::abs (attempted) < detent ? 0.0 : attempted;
}

bool StripFader::keyPressed (const juce::KeyPress& key)
{
    const auto code = key.getKeyCode();
    const auto modifiers = key.getModifiers();
    if (modifiers.isAltDown() || (modifiers.isCommandDown() && modifiers.isShiftDown()))
        return false;
    if (code == juce::KeyPress::backspaceKey)
        setValue (0.0);
    else if (code == juce::KeyPress::leftKey || code == juce::KeyPress::rightKey)
        setValue (getValue() + (code == juce::KeyPress::rightKey ? 1.0 : -1.0) * stepFor (modifiers));
    else
        return false;
    return true;
}

void StripFader::mouseDown (const juce::MouseEvent& event)
{
    if (! event.mods.isPopupMenu())
        Slider::mouseDown (event);
}

void StripFader::mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel)
{
    const auto turn = wheel.isReversed ? -wheel.deltaY : wheel.deltaY;
    if (turn != 0.0f && ! event.mods.isAnyMouseButtonDown())
        setValue (getValue() + (turn > 0.0f ? 1.0 : -1.0) * stepFor (event.mods));
}

void StripFader::paint (juce::Graphics& g)
{
    g.setColour (palette::outline);
    g.fillRect (juce::Rectangle<float> (1.0f, 14.0f)
                    .withCentre ({ std::floor (static_cast<float> (getPositionOfValue (0.0))) + 0.5f,
                                   0.5f * static_cast<float> (getHeight()) }));
    g.setImageResamplingQuality (juce::Graphics::highResamplingQuality);
    art.paint (g, *this);
    // Inside the bounds: the row has no room around them.
    if (areFocusRingsShown() && hasKeyboardFocus (false))
        drawFocusRing (g, getLocalBounds().toFloat().reduced (4.0f, 6.0f));
}

TrackStrip::LetterButton::LetterButton (const juce::String& letter, ButtonLook lookWhenOn)
    : LookButton (letter, lookWhenOn, Icon::none)
{
    setToggleable (true);
    setWantsKeyboardFocus (false);
}

void TrackStrip::LetterButton::mouseDown (const juce::MouseEvent& event)
{
    // The other button opens the row's menu.
    if (! event.mods.isPopupMenu())
        LookButton::mouseDown (event);
}

void TrackStrip::LetterButton::paintButton (juce::Graphics& g, bool over, bool down)
{
    const auto shown = state (over, down);
    const auto lookNow = shown.on ? look : ButtonLook::standard;
    const auto face = getLocalBounds().toFloat().withSizeKeepingCentre (24.0f, 22.0f);
    drawButtonGround (g, face, lookNow, shown, 5.0f);
    g.setColour (shown.on ? buttonInk (lookNow, shown) : palette::textMid);
    g.setFont (fonts::inter (12.0f, fonts::Weight::semibold));
    g.drawText (getName(), face, juce::Justification::centred, false);
}

TrackStrip::TrackStrip (const ResourceImages& images) : fader (images)
{
    setInterceptsMouseClicks (false, true);
    for (auto* part : std::initializer_list<juce::Component*>{ &solo, &mute, &fader })
        addAndMakeVisible (part);
    solo.setTooltip ("Solo in the kit; exports don't take it [Shift+S]");
    mute.setTooltip ("Mute in the kit; exports don't take it [Shift+M]");
    solo.onClick = [this] { call (onSolo, ! solo.getToggleState()); };
    mute.onClick = [this] { call (onMute, ! mute.getToggleState()); };
    fader.onValueChange = [this] { call (onFader, static_cast<float> (fader.getValue())); };
}

void TrackStrip::show (const juce::String& trackName, const MixStrip& strip)
{
    solo.setToggleState (strip.solo, juce::dontSendNotification);
    mute.setToggleState (strip.mute, juce::dontSendNotification);
    fader.setLevel (strip.faderDb);
    solo.setTitle ("Solo " + trackName);
    mute.setTitle ("Mute " + trackName);
    fader.setTitle ("Level of " + trackName);
}

void TrackStrip::addListenerToParts (juce::MouseListener& listener)
{
    for (auto* part : std::initializer_list<juce::Component*>{ &solo, &mute, &fader })
        part->addMouseListener (&listener, false);
}

void TrackStrip::resized()
{
    auto area = getLocalBounds();
    solo.setBounds (area.removeFromLeft (buttonWidth));
    mute.setBounds (area.removeFromLeft (buttonWidth));
    area.removeFromLeft (gap);
    fader.setBounds (area);
}

} // namespace tessivar
