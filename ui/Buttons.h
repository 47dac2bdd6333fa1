#pragma once

#include "ui/Icons.h"
#include "ui/Motion.h"

namespace tessivar
{

/** The kinds of button ground. */
enum class ButtonLook
{
    standard, // dark, raised edge
    primary,  // ice: the one thing to do
    caution,  // amber: overwrites something
    danger,   // dark with red words: throws something away
    quiet,    // dark with low words: a state rather than an offer
    bare,     // no ground until hovered; on: tinted ice with an edge
    text,     // low words without a ground until hovered: an offer that stands back
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
    float hover = -1.0f; // 0 to 1 on the way to the look under the mouse; below 0: as `over` says
};

/** Draws a button's ground with rounded corners, 1 px inside its edge. */
void drawButtonGround (juce::Graphics& g,
                       juce::Rectangle<float> area,
                       ButtonLook look,
                       ButtonState state,
                       float cornerRadius = 6.0f);

/** The colour of words and icons on such a ground. */
juce::Colour buttonInk (ButtonLook look, ButtonState state);

/** Draws a key's name in a small frame, 20 x 18, centred in the area. */
void drawKeyCap (juce::Graphics& g, juce::Rectangle<float> area, const juce::String& key, juce::Colour ink);

/** A button with words and, before or after them, an icon. A click leaves the keyboard focus where it is; Tab reaches
    the button and shows its focus ring.
*/
class ActionButton : public juce::Button
{
public:
    explicit ActionButton (const juce::String& words = {},
                           ButtonLook look = ButtonLook::standard,
                           Icon leadingIcon = Icon::none);

    void setLook (ButtonLook newLook);
    ButtonLook getLook() const { return look; }
    void setLeadingIcon (Icon newIcon);

    /** An arrow and a further word after the text: "Copy A -> B". */
    void setTrailing (Icon newIcon, const juce::String& newText);

    /** Pill ends instead of 6 px corners. */
    void setPill (bool shouldBePill) { pill = shouldBePill; }

    /** The width that its content asks for, in logical pixels, insets of 12 included. */
    int idealWidth() const;

    void paintButton (juce::Graphics& g, bool over, bool down) override;
    void buttonStateChanged() override { hover.setOver (isOver()); }

private:
    juce::Font textFont() const;
    float contentWidth() const;

    ButtonLook look;
    Icon leading;
    Icon trailing = Icon::none;
    juce::String trailingText;
    bool pill = false;
    motion::HoverFade hover{ *this };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ActionButton)
};

/** A button that shows an icon only; its name, for the tooltip and for screen readers, says what it does. */
class IconButton : public juce::Button
{
public:
    IconButton (const juce::String& name, Icon iconToShow, ButtonLook look = ButtonLook::bare);

    void setIcon (Icon newIcon);
    void setLook (ButtonLook newLook);
    void setIconSize (float edge) { iconSize = edge; }
    void setInk (juce::Colour colour) { ink = colour; }

    void paintButton (juce::Graphics& g, bool over, bool down) override;
    void buttonStateChanged() override { hover.setOver (isOver()); }

private:
    Icon icon;
    ButtonLook look;
    float iconSize = 16.0f;
    juce::Colour ink; // transparent: the look's own
    motion::HoverFade hover{ *this };

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (IconButton)
};

/** The frame that shows the keyboard focus: 2 px ice, 2 px outside the area. */
void drawFocusRing (juce::Graphics& g, juce::Rectangle<float> area, float cornerRadius = 6.0f);

} // namespace tessivar
