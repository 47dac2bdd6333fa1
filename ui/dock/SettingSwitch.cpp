#include "ui/dock/SettingSwitch.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/KnobGeometry.h"
#include "ui/Palette.h"

namespace tessivar
{

SettingSwitch::SettingSwitch() : DockSection ("Setting", true, false)
{
    for (auto* button : { &equal, &copy, &reset, &blindTest, &presets })
        addAndMakeVisible (button);
    equal.setTitle ("Equal loudness");
    equal.setToggleable (true);
    equal.setTooltip (
        "Equal loudness: source, A, B and what they remove are played equally loud. Exports don't take "
        "it. [Q]");
    blindTest.setTooltip ("Tell A from B by ear alone, and count how often you are right [X]");
    equal.onClick = [this] { call (onEqualLoudness); };
    blindTest.onClick = [this] { call (onBlindTest); };
    presets.setTrailing (Icon::chevronDown, {});
    presets.setTooltip ("Knobs for this type of drum: save them, use them");
    presets.onClick = [this] { call (onPresets, presets.getScreenBounds().getBottomLeft()); };
    copy.setTooltip ("Copy the sounding setting to the other [C]");
    reset.setTooltip ("Both knobs to default [Alt+0]");
    copy.onClick = [this] { call (onCopy); };
    reset.onClick = [this] { call (onReset); };
    setTooltip ("Choose the setting that sounds, with Shift for every track of the group [A]");
}

void SettingSwitch::setState (const DockState& newState)
{
    state = newState;
    tellValue();
    copy.setButtonText ("Copy " + letterOf (state.sounding));
    copy.setTitle ("Copy " + letterOf (state.sounding) + " to " + letterOf (otherSetting (state.sounding)));
    copy.setTrailing (Icon::arrowRight, letterOf (otherSetting (state.sounding)));
    copy.setEnabled (state.available);
    reset.setEnabled (state.available);
    blindTest.setEnabled (state.available);
    equal.setEnabled (state.available);
    equal.setToggleState (state.equalLoudness, juce::dontSendNotification);
    equal.setButtonText (! state.equalLoudness || ! state.available ? juce::String ("Equal")
                         : state.matchingGainDb.has_value()         ? gainText (*state.matchingGainDb)
                                                            : juce::String::fromUTF8 ("\xe2\x80\xa6"));
    equal.setDescription (state.equalLoudness && state.matchingGainDb.has_value()
                              ? gainText (*state.matchingGainDb)
                              : juce::String());
    layOutEqual();
    repaint();
}

juce::Rectangle<int> SettingSwitch::frame() const
{
    return { inset, 36, getWidth() - 2 * inset, 84 };
}

juce::Rectangle<int> SettingSwitch::cell (KnobSetting letter) const
{
    auto inner = frame().reduced (3);
    const auto width = inner.getWidth() / 2 - 1;
    return letter == KnobSetting::a ? inner.removeFromLeft (width) : inner.removeFromRight (width);
}

std::optional<KnobSetting> SettingSwitch::cellAt (juce::Point<int> position) const
{
    if (! state.available)
        return {};
    for (const auto letter : { KnobSetting::a, KnobSetting::b })
        if (cell (letter).contains (position))
            return letter;
    return {};
}

void SettingSwitch::choose (KnobSetting letter, bool wholeGroup)
{
    if (onChoose != nullptr && (wholeGroup || letter != state.sounding))
        onChoose (letter, wholeGroup);
}

bool SettingSwitch::keyPressed (const juce::KeyPress& key)
{
    const auto code = key.getKeyCode();
    if (! state.available || key.getModifiers().isAnyModifierKeyDown())
        return false;
    if (code == juce::KeyPress::leftKey)
        choose (KnobSetting::a, false);
    else if (code == juce::KeyPress::rightKey)
        choose (KnobSetting::b, false);
    else
        return false;
    return true;
}

void SettingSwitch::mouseDown (const juce::MouseEvent& event)
{
    if (const auto letter = cellAt (event.getPosition()))
        choose (*letter, event.mods.isShiftDown());
}

void SettingSwitch::mouseMove (const juce::MouseEvent& event)
{
    const auto now = cellAt (event.getPosition());
    if (now != hovered)
    {
        hovered = now;
        repaint (frame());
    }
}

void SettingSwitch::mouseExit (const juce::MouseEvent&)
{
    hovered.reset();
    repaint (frame());
}

void SettingSwitch::resized()
{
    auto row = juce::Rectangle<int> (inset, 130, getWidth() - 2 * inset, 26);
    reset.setBounds (row.removeFromRight (53));
    row.removeFromRight (6);
    copy.setBounds (row);
    row = { inset - 8, 162, getWidth() - 2 * inset + 16, 28 }; // their words stand within the inset
    presets.setBounds (row.removeFromRight (presets.idealWidth()));
    blindTest.setBounds (row);
    for (auto* button : { &copy, &reset, &blindTest, &presets })
        button->setVisible (! isCompact());
    equal.setIcon (isCompact() ? Icon::none : Icon::equalLoudness);
    layOutEqual();
}

void SettingSwitch::layOutEqual()
{
    equal.setSize (equal.getWidth(), 28);
    const auto width = std::min (equal.idealWidth() - 4, getWidth() - 2 * inset - 62);
    equal.setBounds (getWidth() - inset - width, 5, width, 28);
}

void SettingSwitch::paint (juce::Graphics& g)
{
    DockSection::paint (g);
    drawFrame (g, frame().toFloat(), palette::well, palette::line, 8.0f);
    paintCell (g, KnobSetting::a);
    paintCell (g, KnobSetting::b);
}

void SettingSwitch::paintCell (juce::Graphics& g, KnobSetting letter) const
{
    const auto area = cell (letter).toFloat();
    const auto sounds = state.available && letter == state.sounding;
    const auto isHovered = hovered == letter && ! sounds;
    if (sounds)
    {
        g.setGradientFill (
            juce::ColourGradient::vertical (juce::Colour (0xff2e3943), juce::Colour (0xff232b33), area));
        g.fillRoundedRectangle (area, 6.0f);
        g.setGradientFill (juce::ColourGradient::vertical (
            palette::iceMid, area.getY(), juce::Colour (0xff55636f), area.getY() + 12.0f));
        g.drawRoundedRectangle (area.reduced (0.5f), 6.0f, 1.0f);
    }
    else if (isHovered)
    {
        g.setColour (palette::raised);
        g.fillRoundedRectangle (area, 6.0f);
    }

    const auto line =
        [&] (float em, fonts::Weight weight, const juce::String& words, float centreY, juce::Colour ink)
    {
        g.setColour (ink);
        g.setFont (fonts::inter (em, weight));
        g.drawText (words,
                    area.withY (area.getY() + centreY - 14.0f).withHeight (28.0f),
                    juce::Justification::centred,
                    false);
    };
    const auto letterInk = ! state.available ? palette::textDisabled
                           : sounds          ? palette::ice
                           : isHovered       ? palette::textMid
                                             : palette::textLow;
    line (24.0f, fonts::Weight::semibold, letterOf (letter), state.available ? 23.0f : 31.0f, letterInk);
    if (! state.available)
    {
        line (13.0f,
              fonts::Weight::regular,
              juce::String::fromUTF8 ("\xe2\x80\x93"),
              53.0f,
              palette::textDisabled);
        return;
    }
    const auto& values = state.valuesOf (letter);
    const auto ink = sounds ? palette::textHigh : (isHovered ? palette::textMid : palette::textLow);
    line (12.0f,
          fonts::Weight::regular,
          percentText (static_cast<double> (values.focus), static_cast<double> (focusMaximum)),
          45.0f,
          ink);
    line (11.0f,
          fonts::Weight::regular,
          "Fine " + percentText (static_cast<double> (values.fine), static_cast<double> (fineMaximum)),
          61.0f,
          ink.interpolatedWith (palette::textMid, sounds ? 0.5f : 0.0f));
}

} // namespace tessivar
