#pragma once

#include "ui/ResourceImages.h"

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** A toggle shown as a dot that lights up, with its text beside it.

    The images are drawn at their own size, which is double: layOut gives it twice the bounds under a transform of
    0.5. The parent draws the socket ring (see drawSocket), so that an empty box keeps its outline while hovered.
*/
class TessivarCheckBox : public juce::ToggleButton
{
public:
    explicit TessivarCheckBox (const ResourceImages& images, const juce::String& buttonText = {});

    /** Places the box in logical pixels of its parent; the dot's square is 20 x 20 at the left of the area, centred
        from top to bottom.
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

/** The ring of 13 px around a dot, drawn by the parent of a check box. */
void drawSocket (juce::Graphics& g, juce::Rectangle<int> dotArea, bool enabled = true);

} // namespace tessivar
