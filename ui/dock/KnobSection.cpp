#include "ui/dock/KnobSection.h"

#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/SpokenValue.h"

#include <cmath>

namespace tessivar
{

KnobSectionSettings focusSectionSettings()
{
    return { .title = "Focus",
             .help = "Turn down what is not this drum",
             .keys = juce::String::fromUTF8 ("Alt+\xe2\x86\x91 \xe2\x86\x93") };
}

KnobSectionSettings fineSectionSettings()
{
    return { .title = "Fine",
             .help = "Blend the removed part back",
             .keys = juce::String::fromUTF8 ("Alt+\xe2\x86\x90 \xe2\x86\x92"),
             .sizeClass = 23.0f,
             .alternateSet = false,
             .maximum = static_cast<double> (fineMaximum),
             .ringSegments = 1,
             .ringThickness = 3.0f,
             .knobSize = 76,
             .compactKnobSize = 64,
             .knobCentreY = 100,
             .compactKnobCentreY = 81,
             .labelCentreY = 148,
             .compactLabelCentreY = 122,
             .labelEm = 13.0f,
             .showsEnds = false };
}

std::vector<RingSegment> ringSegments (int count, float proportion, float gapRadians)
{
    std::vector<RingSegment> segments;
    const auto whole = static_cast<float> (count);
    const auto lit = angleForProportion (proportion);
    for (int i = 0; i < count; ++i)
    {
        RingSegment segment;
        segment.start =
            angleForProportion (static_cast<float> (i) / whole) + (i > 0 ? 0.5f * gapRadians : 0.0f);
        segment.end = angleForProportion (static_cast<float> (i + 1) / whole)
                      - (i + 1 < count ? 0.5f * gapRadians : 0.0f);
        segment.litEnd = juce::jlimit (segment.start, segment.end, lit);
        segments.push_back (segment);
    }
    return segments;
}

KnobSection::KnobSection (const ResourceImages& images, const KnobSectionSettings& settingsToUse)
    : DockSection (settingsToUse.title, true, true), settings (settingsToUse),
      knob (images, settingsToUse.sizeClass, &label, settingsToUse.alternateSet)
{
    knob.setRange (0.0, settings.maximum);
    knob.setTitle (settings.title);
    knob.setHelpText (settings.help);
    knob.setTooltip (settings.help + " [" + settings.keys + "]");
    knob.textFromValueFunction = [this] (double value) { return spoken (value); };
    knob.onContextMenu = [this] (juce::Point<int> place) { showMenu (place); };
    knob.addListener (&label);
    knob.addListener (this);
    addAndMakeVisible (knob);

    label.setFont (fonts::inter (settings.labelEm, fonts::Weight::semibold));
    label.onTextChange = [this] { takeTypedText(); };
    addChildComponent (label);
    setHelpText (settings.help);
}

KnobSection::~KnobSection()
{
    knob.removeListener (this);
    knob.removeListener (&label);
}

void KnobSection::setState (const State& newState)
{
    state = newState;
    knob.setEnabled (state.available);
    knob.setDefaultValue (static_cast<float> (state.defaultValue));
    if (! state.available)
        label.setVisible (false);
    // While the knob is held, the hand decides; a late value would pull it away.
    if (! knob.isMouseButtonDown())
        knob.setValue (state.available ? state.value : 0.0, juce::dontSendNotification);
    // The label may still show the value of another track, or of before an undo.
    if (! label.isBeingEdited())
        label.setText (percentText (knob.getValue(), settings.maximum), juce::dontSendNotification);
    repaint();
    tellValue();
}

void KnobSection::sliderValueChanged (juce::Slider*)
{
    label.setVisible (true);
    state.value = knob.getValue();
    repaint();
    tellValue();
    call (onValueChange, state.value);
}

void KnobSection::takeTypedText()
{
    if (const auto percent = percentFromText (label.getText()))
        knob.setValue (*percent * settings.maximum / 100.0, juce::sendNotificationSync);
    // An empty text changes nothing; show the knob's value again.
    label.showText (percentText (knob.getValue(), settings.maximum));
}

void KnobSection::typeValue()
{
    knob.showValueLabel();
    if (label.isVisible())
        label.showEditor();
}

void KnobSection::nudge (double fraction)
{
    if (! knob.isEnabled())
        return;
    const auto proportion = static_cast<double> (knob.getProportion()) + fraction;
    knob.setValue (juce::jlimit (0.0, 1.0, proportion) * settings.maximum, juce::sendNotificationSync);
}

void KnobSection::resetToDefault()
{
    if (knob.isEnabled())
        knob.setValue (state.defaultValue, juce::sendNotificationSync);
}

bool KnobSection::keyPressed (const juce::KeyPress& key)
{
    const auto modifiers = key.getModifiers();
    if (modifiers.isAltDown() || modifiers.isCtrlDown())
        return false;
    const auto step = modifiers.isShiftDown() ? 0.05 : 0.01;
    const auto code = key.getKeyCode();
    if (code == juce::KeyPress::upKey || code == juce::KeyPress::rightKey)
        nudge (step);
    else if (code == juce::KeyPress::downKey || code == juce::KeyPress::leftKey)
        nudge (-step);
    else if (code == juce::KeyPress::returnKey)
        typeValue();
    else
        return false;
    return true;
}

juce::String KnobSection::spoken (double value) const
{
    return percentText (value, settings.maximum).dropLastCharacters (1) + " percent";
}

std::unique_ptr<juce::AccessibilityHandler> KnobSection::createAccessibilityHandler()
{
    return makeSpokenHandler (*this, juce::AccessibilityRole::slider, [this] { return spokenValue(); });
}

void KnobSection::showMenu (juce::Point<int> screenPosition)
{
    const juce::Component::SafePointer<KnobSection> self (this);
    juce::PopupMenu menu;
    const auto add = [&] (const char* words, auto act)
    {
        menu.addItem (words,
                      [self, act]
                      {
                          if (self != nullptr)
                              act (*self);
                      });
    };
    add ("Copy to other setting", [] (KnobSection& section) { call (section.onCopyToOther); });
    add ("Reset", [] (KnobSection& section) { section.resetToDefault(); });
    add ("Type a value", [] (KnobSection& section) { section.typeValue(); });
    menu.showMenuAsync (juce::PopupMenu::Options().withTargetComponent (knob).withTargetScreenArea (
        { screenPosition.x, screenPosition.y, 1, 1 }));
}

void KnobSection::resized()
{
    const auto size = isCompact() ? settings.compactKnobSize : settings.knobSize;
    const auto centreY = isCompact() ? settings.compactKnobCentreY : settings.knobCentreY;
    const auto labelY = isCompact() ? settings.compactLabelCentreY : settings.labelCentreY;
    const auto centreX = getWidth() / 2;
    knob.setBounds (juce::Rectangle<int> (size, size).withCentre ({ centreX, centreY }));
    label.setBounds (juce::Rectangle<int> (56, 22).withCentre ({ centreX, labelY }));
}

float KnobSection::ringRadius() const
{
    // Outside the knob's well, which reaches to 46.5 % of its edge.
    return 0.5f * static_cast<float> (knob.getWidth()) + 1.2f * settings.ringThickness;
}

float KnobSection::proportionOf (double value) const
{
    return static_cast<float> (juce::jlimit (0.0, 1.0, value / settings.maximum));
}

void KnobSection::paint (juce::Graphics& g)
{
    DockSection::paint (g);
    drawRing (g);
    if (! state.available)
        return;
    if (state.suggestedValue.has_value())
        drawSuggestedTick (g);
    if (state.otherValue.has_value())
        drawOtherTick (g);
}

void KnobSection::drawRing (juce::Graphics& g) const
{
    const auto centre = knob.getBounds().toFloat().getCentre();
    const auto radius = ringRadius();
    const auto gap = settings.ringSegments > 1 ? 2.6f / radius : 0.0f;
    const juce::PathStrokeType stroke (settings.ringThickness);
    const auto groove = juce::Colour (0xff303a43).withMultipliedAlpha (state.available ? 1.0f : 0.45f);
    const auto lit = knob.isMouseOverOrDragging() ? palette::iceHover : palette::iceMid;

    const auto proportion = state.available ? proportionOf (state.value) : 0.0f;
    for (const auto& segment : ringSegments (settings.ringSegments, proportion, gap))
    {
        const auto arc = [&] (float from, float to, juce::Colour colour)
        {
            if (to - from < 0.001f)
                return;
            juce::Path path;
            path.addCentredArc (centre.x, centre.y, radius, radius, 0.0f, from, to, true);
            g.setColour (colour);
            g.strokePath (path, stroke);
        };
        arc (segment.litEnd, segment.end, groove);
        arc (segment.start, segment.litEnd, lit);
    }

    if (settings.showsEnds)
    {
        g.setColour (state.available ? palette::textLow : palette::textDisabled);
        g.setFont (fonts::inter (11.0f));
        const auto y = centre.y + radius * 0.84f;
        const auto reach = radius * 0.92f;
        // A tick at an end of the scale replaces the figure there.
        const auto isFree = [&] (float place)
        {
            const auto isFar = [&] (const std::optional<double>& value)
            { return ! value.has_value() || std::abs (proportionOf (*value) - place) > 0.04f; };
            return ! state.available || (isFar (state.otherValue) && isFar (state.suggestedValue));
        };
        const auto end = [&] (const char* words, float side)
        {
            g.drawText (
                words,
                juce::Rectangle<float> (40.0f, 14.0f).withCentre ({ centre.x + side * reach + 3.0f, y }),
                juce::Justification::centred,
                false);
        };
        if (isFree (0.0f))
            end ("0", -1.0f);
        if (isFree (1.0f))
            end ("100", 1.0f);
    }
}

float KnobSection::letterShift() const
{
    if (! state.suggestedValue.has_value())
        return 0.0f;
    const auto other = proportionOf (*state.otherValue), suggested = proportionOf (*state.suggestedValue);
    if (std::abs (other - suggested) > 0.05f)
        return 0.0f;
    return other > suggested || (juce::approximatelyEqual (other, suggested) && other < 0.5f) ? 1.0f : -1.0f;
}

void KnobSection::drawOtherTick (juce::Graphics& g) const
{
    const auto centre = knob.getBounds().toFloat().getCentre();
    const auto radius = ringRadius();
    const auto angle = angleForProportion (proportionOf (*state.otherValue));
    const auto at = [&] (float distance) { return centre.getPointOnCircumference (distance, angle); };
    const juce::Line<float> tick (at (radius - 4.0f), at (radius + 6.0f));
    // Dark seams on both sides set the tick off from the ring.
    g.setColour (palette::panel);
    g.drawLine (tick, 5.0f);
    g.setColour (palette::textHigh);
    g.drawLine (tick, 2.0f);
    g.setColour (palette::textMid);
    g.setFont (fonts::inter (10.0f, fonts::Weight::semibold));
    const auto letterAngle = angle + letterShift() * 15.0f / (radius + 13.0f);
    g.drawText (state.otherLetter,
                juce::Rectangle<float> (14.0f, 14.0f)
                    .withCentre (centre.getPointOnCircumference (radius + 13.0f, letterAngle)),
                juce::Justification::centred,
                false);
}

void KnobSection::drawSuggestedTick (juce::Graphics& g) const
{
    const auto centre = knob.getBounds().toFloat().getCentre();
    const auto radius = ringRadius();
    const auto angle = angleForProportion (proportionOf (*state.suggestedValue));
    // A small arrowhead pointing at the ring from outside.
    juce::Path arrow;
    const auto outer = radius + settings.ringThickness + 6.0f;
    arrow.startNewSubPath (centre.getPointOnCircumference (radius + settings.ringThickness, angle));
    arrow.lineTo (centre.getPointOnCircumference (outer, angle - 4.0f / outer));
    arrow.lineTo (centre.getPointOnCircumference (outer, angle + 4.0f / outer));
    arrow.closeSubPath();
    g.setColour (palette::ice);
    g.fillPath (arrow);
}

} // namespace tessivar
