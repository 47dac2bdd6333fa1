#include "ui/dock/ListenSection.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{

ListenButton::ListenButton (const juce::String& word,
                            const juce::String& keyName,
                            Icon iconToShow,
                            ButtonLook lookToUseWhenOn)
    : LookButton (word, lookToUseWhenOn, iconToShow), key (keyName)
{
    setTitle (word);
    // The owner decides what a click does; the toolkit only needs to know that this is a toggle.
    setToggleable (true);
    setWantsKeyboardFocus (false);
}

void ListenButton::mouseDown (const juce::MouseEvent& event)
{
    Button::mouseDown (event);
    if (! isEnabled() || event.mods.isPopupMenu())
        return;
    heldByMouse = true;
    call (onPress);
}

void ListenButton::mouseUp (const juce::MouseEvent& event)
{
    Button::mouseUp (event);
    if (! std::exchange (heldByMouse, false))
        return;
    call (onRelease);
}

void ListenButton::clicked()
{
    if (! heldByMouse)
        call (onKeyboardClick);
}

void ListenButton::paintButton (juce::Graphics& g, bool over, bool down)
{
    const auto shown = state (over, down);
    const auto lookNow = shown.on && shown.enabled ? look : ButtonLook::standard;
    auto area = getLocalBounds().toFloat();
    drawButtonGround (g, area, lookNow, shown, 8.0f);

    const auto ink = buttonInk (lookNow, shown);
    area.removeFromLeft (14.0f);
    drawIcon (g, icon, area.removeFromLeft (17.0f), ink);
    area.removeFromLeft (10.0f);
    area.removeFromRight (11.0f);
    drawKeyCap (g,
                area.removeFromRight (22.0f),
                key,
                shown.enabled && ! shown.on ? palette::textLow : ink.withMultipliedAlpha (0.85f));
    g.setColour (ink);
    g.setFont (fonts::inter (13.0f, fonts::Weight::semibold));
    g.drawText (getButtonText(), area, juce::Justification::centredLeft, true);
}

ListenSection::ListenSection()
    : DockSection ("Listen to", true, true), bypass ("Bypass", "B", Icon::bypass, ButtonLook::bypassOn),
      removed ("Removed", "R", Icon::removed, ButtonLook::removedOn)
{
    const auto wire = [this] (ListenButton& button, ListenMode mode, const juce::String& tip)
    {
        addAndMakeVisible (button);
        button.setTooltip (tip);
        button.onPress = [this, mode] { press (mode); };
        button.onRelease = [this, mode] { release (mode); };
        button.onKeyboardClick = [this, mode] { apply ([&] { latch.toggle (mode); }); };
    };
    wire (bypass, ListenMode::bypass, "Hear the source [B]");
    wire (removed, ListenMode::removed, "Hear only what is removed [R]");
}

void ListenSection::setState (const DockState& newState)
{
    const auto listeningChanged = newState.listening != latch.current();
    state = newState;
    // A state that agrees with the button must not end a hold.
    if (listeningChanged)
        latch.set (state.listening);
    showListening();
}

void ListenSection::showListening()
{
    state.listening = latch.current();
    bypass.setEnabled (state.available);
    removed.setEnabled (state.available);
    bypass.setToggleState (state.listening == ListenMode::bypass, juce::dontSendNotification);
    removed.setToggleState (state.listening == ListenMode::removed, juce::dontSendNotification);
    repaint();
    tellValue();
}

void ListenSection::apply (const std::function<void()>& change)
{
    const auto before = latch.current();
    change();
    showListening();
    if (latch.current() != before)
        call (onChange, latch.current());
}

void ListenSection::press (ListenMode mode)
{
    if (state.available)
        apply ([&] { latch.press (mode, juce::Time::getMillisecondCounterHiRes()); });
}

void ListenSection::release (ListenMode mode)
{
    apply ([&] { latch.release (mode, juce::Time::getMillisecondCounterHiRes()); });
}

bool ListenSection::keyPressed (const juce::KeyPress& keyPress)
{
    const auto code = keyPress.getKeyCode();
    const auto isDown = code == juce::KeyPress::downKey || code == juce::KeyPress::rightKey;
    const auto isUp = code == juce::KeyPress::upKey || code == juce::KeyPress::leftKey;
    if (! state.available || (! isDown && ! isUp) || keyPress.getModifiers().isAnyModifierKeyDown())
        return false;
    const auto next = juce::jlimit (0, 2, static_cast<int> (latch.current()) + (isDown ? 1 : -1));
    apply ([&] { latch.set (static_cast<ListenMode> (next)); });
    return true;
}

void ListenSection::paint (juce::Graphics& g)
{
    DockSection::paint (g);
    g.setColour (palette::textLow);
    g.setFont (fonts::inter (12.0f));
    if (! isCompact())
        g.drawFittedText (listeningText (state),
                          { contentLeft(), 133, getWidth() - contentLeft() - 8, 34 },
                          juce::Justification::topLeft,
                          2,
                          1.0f);
}

void ListenSection::resized()
{
    const auto width = getWidth() - contentLeft() - inset;
    bypass.setBounds (contentLeft(), 36, width, 40);
    removed.setBounds (contentLeft(), 84, width, 40);
}

} // namespace tessivar
