#pragma once

#include "ui/Icons.h"
#include "ui/Motion.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** Kinds of button background. */
enum class ButtonLook
{
    standard, // dark, raised edge
    primary,  // ice: the main action
    caution,  // amber: overwrites something
    danger,   // dark with red text: discards something
    quiet,    // dark with dimmed text: a state rather than an action
    bare,     // no background until hovered; when on, tinted ice with an edge
    text,     // dimmed text, no background until hovered: a secondary action
    playing,  // the play button while it plays
    bypassOn, // white
    removedOn // ember
};

struct ButtonState
{
    bool enabled = true;
    bool over = false;
    bool down = false;
    bool on = false;
    float hover = -1.0f; // for fades: 0 at rest to 1 hovered; below 0: decided by `over`
};

/** Draws a button's background with rounded corners, inset by 1 px. */
void drawButtonGround (juce::Graphics& g,
                       juce::Rectangle<float> area,
                       ButtonLook look,
                       ButtonState state,
                       float cornerRadius = 6.0f);

/** Colour of text and icons on such a background. */
juce::Colour buttonInk (ButtonLook look, ButtonState state);

/** Width of a key cap, in logical pixels; 0 without a key. */
float keyCapWidth (const juce::String& key);

/** Draws a key cap: the key's name in a frame 18 px high, centred in the area. */
void drawKeyCap (juce::Graphics& g, juce::Rectangle<float> area, const juce::String& key, juce::Colour ink);

/** What the program's own buttons share: a look, an icon, and a hover that fades in. Clicking one leaves the
    keyboard focus alone; Tab reaches it and shows its focus ring.
*/
class LookButton : public juce::Button
{
public:
    void setLook (ButtonLook newLook);
    void setIcon (Icon newIcon);

    void buttonStateChanged() override { hover.setOver (isOver()); }

protected:
    LookButton (const juce::String& name, ButtonLook lookToUse, Icon iconToShow);

    tessivar::ButtonState state (bool over, bool down) const;

    ButtonLook look;
    Icon icon;

private:
    motion::HoverFade hover{ *this };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (LookButton)
};

/** A button with text and an optional icon on either side. */
class ActionButton : public LookButton
{
public:
    explicit ActionButton (const juce::String& words = {},
                           ButtonLook look = ButtonLook::standard,
                           Icon leadingIcon = Icon::none);

    /** Adds an icon and more text after the label: "Copy A -> B". */
    void setTrailing (Icon newIcon, const juce::String& newText);

    /** Width its content needs, insets of 12 included, in logical pixels. */
    int idealWidth() const;

    void paintButton (juce::Graphics& g, bool over, bool down) override;

private:
    juce::Font textFont() const;
    float contentWidth() const;

    Icon trailing = Icon::none;
    juce::String trailingText;
};

/** A button that shows only an icon; its name is used for the tooltip and by screen readers. */
class IconButton : public LookButton
{
public:
    IconButton (const juce::String& name, Icon iconToShow, ButtonLook look = ButtonLook::bare);

    void setIconSize (float edge) { iconSize = edge; }
    void setInk (juce::Colour colour) { ink = colour; }

    void paintButton (juce::Graphics& g, bool over, bool down) override;

private:
    float iconSize = 16.0f;
    juce::Colour ink; // transparent: the look's own
};

/** Fills a rounded rectangle, half a pixel inside the area, and draws its edge of 1 px. */
void drawFrame (juce::Graphics& g,
                juce::Rectangle<float> area,
                juce::Colour ground,
                juce::Colour edge,
                float cornerRadius);

/** Draws the keyboard focus: a 2 px ice frame, 2 px outside the area. */
void drawFocusRing (juce::Graphics& g, juce::Rectangle<float> area, float cornerRadius = 6.0f);

/** The audio device, at the right end of the menu bar: a dot and a line of text. A click asks for the
    settings.
*/
class DeviceStatusButton : public juce::Button
{
public:
    DeviceStatusButton();

    /** @param warns  shows amber: no device, or its rate differs from the Group's */
    void setStatus (const juce::String& words, bool warns);

    /** Width its text needs, in logical pixels. */
    int idealWidth() const;

    void paintButton (juce::Graphics& g, bool over, bool down) override;

private:
    bool warning = false;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DeviceStatusButton)
};

} // namespace tessivar
