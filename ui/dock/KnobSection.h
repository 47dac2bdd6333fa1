#pragma once

#include "terms/KnobValues.h"
#include "ui/Call.h"
#include "ui/TessivarKnobComponent.h"
#include "ui/dock/DockSection.h"
#include "ui/dock/DockState.h"

namespace tessivar
{

/** What distinguishes the Focus section from the Fine section. */
struct KnobSectionSettings
{
    juce::String title, help, keys; // help and keys make the tooltip
    float sizeClass = 39.0f;
    bool alternateSet = true;
    double maximum = static_cast<double> (focusMaximum);
    int ringSegments = 5;
    float ringThickness = 4.0f;
    int knobSize = 128, compactKnobSize = 104;
    int knobCentreY = 95, compactKnobCentreY = 76; // from the top of the dock
    int labelCentreY = 166, compactLabelCentreY = 133;
    float labelEm = 18.0f;
    bool showsEnds = true; // "0" and "100" at the ends of the scale
};

KnobSectionSettings focusSectionSettings();
KnobSectionSettings fineSectionSettings();

/** A segment of a scale ring: angles in radians clockwise from the top. An unlit one has `litEnd` at `start`;
    `gapRadians` separates neighbours.
*/
struct RingSegment
{
    float start = 0.0f, end = 0.0f, litEnd = 0.0f;
};
std::vector<RingSegment> ringSegments (int count, float proportion, float gapRadians);

/** A knob with its value label. The section itself draws the scale ring, the other setting's tick and the
    suggested value's tick around it.
*/
class KnobSection : public DockSection, private juce::Slider::Listener
{
public:
    KnobSection (const ResourceImages& images, const KnobSectionSettings& settings);
    ~KnobSection() override;

    struct State
    {
        bool available = false;
        double value = 0.0;
        double defaultValue = 0.0;        // that Shift and a click brings back
        std::optional<double> otherValue; // of the other setting, in the knob's range
        juce::String otherLetter;
        std::optional<double> suggestedValue;
    };
    /** Shows a state without calling back. */
    void setState (const State& newState);

    /** The user moved the knob or typed a value. */
    std::function<void (double)> onValueChange;
    std::function<void()> onGestureStart, onGestureEnd, onCopyToOther;

    /** Opens the value label for typing. */
    void typeValue();

    /** One step of the label's fade; called 30 times a second. */
    void fadeTick() { label.fadeTick(); }

    /** Whether the label is on its way out, which takes ticks: not while something is typed into it. */
    bool isFading() const { return label.isVisible() && ! label.isBeingEdited(); }

    TessivarKnobComponent& getKnob() { return knob; }
    TessivarKnobTooltip& getLabel() { return label; }

    /** Moves the knob by a fraction of its range, as the arrow keys do. */
    void nudge (double fraction);
    void resetToDefault();

    bool keyPressed (const juce::KeyPress& key) override;
    void paint (juce::Graphics& g) override;
    void resized() override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    juce::String spokenValue() const override { return spoken (knob.getValue()); }
    juce::String spoken (double value) const;
    void sliderValueChanged (juce::Slider*) override;
    void sliderDragStarted (juce::Slider*) override { call (onGestureStart); }
    void sliderDragEnded (juce::Slider*) override { call (onGestureEnd); }
    void takeTypedText();
    void showMenu (juce::Point<int> screenPosition);
    void drawRing (juce::Graphics& g) const;
    void drawOtherTick (juce::Graphics& g) const;
    /** Where the other setting's letter makes way for the suggestion: -1 or 1 along the ring, else 0. */
    float letterShift() const;
    void drawSuggestedTick (juce::Graphics& g) const;
    float ringRadius() const;
    float proportionOf (double value) const;

    const KnobSectionSettings settings;
    State state;
    TessivarKnobTooltip label;
    TessivarKnobComponent knob;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (KnobSection)
};

} // namespace tessivar
