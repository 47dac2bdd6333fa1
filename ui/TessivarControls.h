#pragma once

#include "ui/ResourceImages.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <optional>

namespace tessivar
{

/** A toggle shown as a dot that lights up, with its text beside it.

    The images have double resolution and are drawn at their own size, so layOut gives the box twice the
    bounds and a transform of 0.5. The parent draws the socket ring (see drawSocket), so that an unlit box
    keeps its outline while hovered.
*/
class TessivarCheckBox : public juce::ToggleButton
{
public:
    explicit TessivarCheckBox (const ResourceImages& images, const juce::String& buttonText = {});

    /** Places the box, in logical pixels of its parent; the dot's square of 20 x 20 stands at the left of the
        area, centred vertically.
    */
    void layOut (juce::Rectangle<int> area);

    /** The dot's square in logical pixels of the parent. */
    juce::Rectangle<int> getDotArea() const { return dotArea; }

    void paintButton (juce::Graphics& g, bool highlighted, bool down) override;

private:
    juce::Image off, on, offHighlighted, onHighlighted;
    juce::Rectangle<int> dotArea;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarCheckBox)
};

/** The ring of 13 px around a check box's dot, drawn by the parent. */
void drawSocket (juce::Graphics& g, juce::Rectangle<int> dotArea, bool enabled = true);

/** A combo box that leaves the keyboard to the window: its list opens on a click. */
class TessivarComboBox : public juce::ComboBox
{
public:
    explicit TessivarComboBox (const juce::String& name = {});

    /** Whether the box could be used when it was made. */
    bool wasEnabledAtConstruction() const { return enabledAtConstruction; }

private:
    bool enabledAtConstruction = false;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarComboBox)
};

/** A panel that shows one image, stretched to its size. An empty image shows nothing. */
class TessivarComponent : public juce::Component
{
public:
    explicit TessivarComponent (const juce::Image& imageToShow) : image (imageToShow) {}

    void paint (juce::Graphics& g) override
    {
        if (image.isValid())
            g.drawImage (image, getLocalBounds().toFloat());
    }

private:
    juce::Image image;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarComponent)
};

/** Shows tooltips after 700 ms, or at once when another one closed less than a second ago.
    TessivarLookAndFeel draws them, beside the control that they are about.
*/
class TessivarTooltipWindow : public juce::TooltipWindow
{
public:
    explicit TessivarTooltipWindow (juce::Component* parent = nullptr, int delayMs = 700)
        : TooltipWindow (parent, delayMs)
    {
    }

    /** Away with it until the mouse moves. */
    void dismiss();

    juce::String getTipFor (juce::Component& pointedAt) override;

private:
    std::optional<juce::Point<float>> dismissedAt; // on the screen

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarTooltipWindow)
};

} // namespace tessivar
