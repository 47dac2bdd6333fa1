#include "ui/Buttons.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{
namespace
{

/** Background from top to bottom, and the edge around it. */
struct GroundColours
{
    juce::Colour top, bottom, edge;
};

GroundColours standardGround (ButtonState state)
{
    if (! state.enabled)
        return { palette::hover.withAlpha (0.25f), palette::hover.withAlpha (0.2f), palette::line };
    if (state.down)
        return { palette::raised, juce::Colour (0xff161b20), palette::outline };
    if (state.over)
        return { juce::Colour (0xff2a343c), juce::Colour (0xff232b32), palette::outline };
    return { palette::hover, juce::Colour (0xff1b2228), palette::lineStrong };
}

GroundColours filledGround (juce::Colour top, juce::Colour bottom, ButtonState state)
{
    if (state.down)
        return { bottom, bottom, bottom };
    if (state.over)
        return { top.brighter (0.25f), bottom.brighter (0.2f), top.brighter (0.5f) };
    return { top, bottom, top.interpolatedWith (juce::Colours::white, 0.35f) };
}

GroundColours bareGround (ButtonState state)
{
    if (state.on && state.enabled)
        return { juce::Colour (0xff1d2f3a).brighter (state.over ? 0.12f : 0.0f),
                 juce::Colour (0xff1d2f3a),
                 palette::iceMid.withAlpha (0.6f) };
    if (state.over && state.enabled)
        return { palette::hover, palette::hover, palette::hover };
    return {};
}

GroundColours groundColours (ButtonLook look, ButtonState state)
{
    if (look == ButtonLook::bare || look == ButtonLook::text)
        return bareGround (state);
    if (! state.enabled)
        return standardGround (state);
    switch (look)
    {
        case ButtonLook::primary:
            return filledGround (juce::Colour (0xffc8eeff), juce::Colour (0xff9fdaf7), state);
        case ButtonLook::caution:
            return filledGround (juce::Colour (0xfff6cd6a), juce::Colour (0xffe5b440), state);
        case ButtonLook::bypassOn:
            return filledGround (juce::Colour (0xffedeff0), juce::Colour (0xffd3dae0), state);
        case ButtonLook::removedOn:
            return filledGround (juce::Colour (0xffff9d70), juce::Colour (0xffee8850), state);
        case ButtonLook::playing:
            return { juce::Colour (0xff2e3943).brighter (state.over ? 0.1f : 0.0f),
                     juce::Colour (0xff222a31),
                     palette::iceMid };
        case ButtonLook::standard:
        case ButtonLook::danger:
        case ButtonLook::quiet:
        case ButtonLook::bare:
        case ButtonLook::text:
            break;
    }
    return standardGround (state);
}

constexpr float gap = 8.0f;
constexpr float inset = 12.0f;

constexpr int statusDotColumn = 14;
constexpr int statusInset = 12;

juce::Font keyFont()
{
    return fonts::inter (11.0f, fonts::Weight::medium);
}

juce::Font statusFont()
{
    return fonts::inter (12.0f);
}

} // namespace

void drawButtonGround (
    juce::Graphics& g, juce::Rectangle<float> area, ButtonLook look, ButtonState state, float cornerRadius)
{
    auto colours = groundColours (look, state);
    if (state.hover >= 0.0f)
    {
        auto rest = state, under = state;
        rest.over = false;
        under.over = true;
        const auto from = groundColours (look, rest), to = groundColours (look, under);
        colours = { from.top.interpolatedWith (to.top, state.hover),
                    from.bottom.interpolatedWith (to.bottom, state.hover),
                    from.edge.interpolatedWith (to.edge, state.hover) };
    }
    if (colours.top.isTransparent())
        return;
    const auto inner = area.reduced (0.5f);
    g.setGradientFill (juce::ColourGradient::vertical (colours.top, colours.bottom, inner));
    g.fillRoundedRectangle (inner, cornerRadius);
    g.setColour (colours.edge);
    g.drawRoundedRectangle (inner, cornerRadius, 1.0f);
}

juce::Colour buttonInk (ButtonLook look, ButtonState state)
{
    if (! state.enabled)
        return palette::textDisabled;
    switch (look)
    {
        case ButtonLook::primary:
            return palette::textOnFill;
        case ButtonLook::caution:
            return juce::Colour (0xff2e2207);
        case ButtonLook::bypassOn:
            return juce::Colour (0xff14181c);
        case ButtonLook::removedOn:
            return juce::Colour (0xff2b1208);
        case ButtonLook::playing:
            return palette::ice;
        case ButtonLook::danger:
            return palette::danger;
        case ButtonLook::quiet:
            return palette::textLow;
        case ButtonLook::text:
            return state.over ? palette::textHigh : palette::textLow;
        case ButtonLook::bare:
            return state.on ? palette::ice : (state.over ? palette::textHigh : palette::textMid);
        case ButtonLook::standard:
            break;
    }
    return palette::textHigh;
}

float keyCapWidth (const juce::String& key)
{
    return key.isEmpty() ? 0.0f : std::max (18.0f, keyFont().getStringWidthFloat (key) + 10.0f);
}

void drawKeyCap (juce::Graphics& g, juce::Rectangle<float> area, const juce::String& key, juce::Colour ink)
{
    const auto cap = area.withSizeKeepingCentre (keyCapWidth (key), 18.0f).reduced (0.5f);
    g.setColour (ink.withMultipliedAlpha (0.3f));
    g.drawRoundedRectangle (cap, 4.0f, 1.0f);
    g.setColour (ink);
    g.setFont (keyFont());
    g.drawText (key, cap, juce::Justification::centred, false);
}

LookButton::LookButton (const juce::String& name, ButtonLook lookToUse, Icon iconToShow)
    : Button (name), look (lookToUse), icon (iconToShow)
{
    setMouseClickGrabsKeyboardFocus (false);
    setHasFocusOutline (true);
}

void LookButton::setLook (ButtonLook newLook)
{
    look = newLook;
    repaint();
}

void LookButton::setIcon (Icon newIcon)
{
    icon = newIcon;
    repaint();
}

tessivar::ButtonState LookButton::state (bool over, bool down) const
{
    return { isEnabled(), over, down, getToggleState(), hover.amount() };
}

ActionButton::ActionButton (const juce::String& words, ButtonLook lookToUse, Icon leadingIcon)
    : LookButton (words, lookToUse, leadingIcon)
{
}

void ActionButton::setTrailing (Icon newIcon, const juce::String& newText)
{
    trailing = newIcon;
    trailingText = newText;
    repaint();
}

juce::Font ActionButton::textFont() const
{
    const auto isSmall = getHeight() > 0 && getHeight() < 30;
    return isSmall ? fonts::inter (12.0f, fonts::Weight::medium)
                   : fonts::inter (13.0f, fonts::Weight::semibold);
}

float ActionButton::contentWidth() const
{
    const auto font = textFont();
    auto width = font.getStringWidthFloat (getButtonText());
    if (icon != Icon::none)
        width += 14.0f + gap;
    if (trailing != Icon::none)
        width += 12.0f + 2.0f * gap + font.getStringWidthFloat (trailingText);
    return width;
}

int ActionButton::idealWidth() const
{
    return juce::roundToInt (std::ceil (contentWidth() + 2.0f * inset));
}

void ActionButton::paintButton (juce::Graphics& g, bool over, bool down)
{
    const auto shown = state (over, down);
    auto area = getLocalBounds().toFloat();
    drawButtonGround (g, area, look, shown);

    const auto ink = buttonInk (look, shown);
    const auto font = textFont();
    auto content =
        area.withSizeKeepingCentre (std::min (contentWidth(), area.getWidth() - 8.0f), area.getHeight());
    if (icon != Icon::none)
    {
        drawIcon (g, icon, content.removeFromLeft (14.0f), ink);
        content.removeFromLeft (gap);
    }
    if (trailing != Icon::none)
    {
        g.setColour (ink);
        g.setFont (font);
        g.drawText (trailingText,
                    content.removeFromRight (font.getStringWidthFloat (trailingText) + 1.0f),
                    juce::Justification::centredRight,
                    false);
        content.removeFromRight (gap);
        drawIcon (g, trailing, content.removeFromRight (12.0f), ink);
    }
    g.setColour (ink);
    g.setFont (font);
    // Slightly more than the measured width, or the last letter would turn into an ellipsis.
    g.drawText (getButtonText(),
                content.withWidth (content.getWidth() + 1.0f),
                icon == Icon::none && trailing == Icon::none ? juce::Justification::centred
                                                             : juce::Justification::centredLeft,
                true);
}

IconButton::IconButton (const juce::String& name, Icon iconToShow, ButtonLook lookToUse)
    : LookButton (name, lookToUse, iconToShow)
{
    setTitle (name);
    setTooltip (name);
}

void IconButton::paintButton (juce::Graphics& g, bool over, bool down)
{
    const auto shown = state (over, down);
    const auto area = getLocalBounds().toFloat();
    drawButtonGround (g, area, look, shown);
    const auto colour = ink.isTransparent() || ! shown.enabled || shown.over ? buttonInk (look, shown) : ink;
    drawIcon (g, icon, area.withSizeKeepingCentre (iconSize, iconSize), colour);
}

void drawFrame (juce::Graphics& g,
                juce::Rectangle<float> area,
                juce::Colour ground,
                juce::Colour edge,
                float cornerRadius)
{
    const auto inner = area.reduced (0.5f);
    g.setColour (ground);
    g.fillRoundedRectangle (inner, cornerRadius);
    g.setColour (edge);
    g.drawRoundedRectangle (inner, cornerRadius, 1.0f);
}

void drawFocusRing (juce::Graphics& g, juce::Rectangle<float> area, float cornerRadius)
{
    g.setColour (palette::ice);
    g.drawRoundedRectangle (area.expanded (3.0f), cornerRadius + 3.0f, 2.0f);
}

DeviceStatusButton::DeviceStatusButton() : Button ("Audio device")
{
    setTooltip ("Audio settings");
    setMouseClickGrabsKeyboardFocus (false);
    setHasFocusOutline (true);
}

void DeviceStatusButton::setStatus (const juce::String& words, bool warns)
{
    warning = warns;
    setButtonText (words);
    setTitle ("Audio device, " + words);
    repaint();
}

int DeviceStatusButton::idealWidth() const
{
    return juce::roundToInt (std::ceil (fonts::tabularWidth (statusFont(), getButtonText())))
           + statusDotColumn + 2 * statusInset;
}

void DeviceStatusButton::paintButton (juce::Graphics& g, bool over, bool)
{
    auto area = getLocalBounds().reduced (statusInset, 0).toFloat();
    g.setColour (warning ? palette::amber : palette::green);
    g.fillEllipse (area.removeFromLeft (6.0f).withSizeKeepingCentre (6.0f, 6.0f));
    area.removeFromLeft (static_cast<float> (statusDotColumn - 6));
    g.setColour (warning ? palette::amber : (over ? palette::textHigh : palette::textLow));
    fonts::drawTabular (g, statusFont(), getButtonText(), area, juce::Justification::centredLeft);
}

} // namespace tessivar
