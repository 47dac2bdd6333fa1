#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** One section of the dock: a caption at its top, a line at its left, and a focus ring when the keyboard is here.

    The controls inside take no focus, so the section does, and hands the keys on.
*/
class DockSection : public juce::Component
{
public:
    static constexpr int inset = 16;

    DockSection (const juce::String& captionText, bool takesKeyboard, bool hasLineAtLeft);

    void setCompact (bool shouldBeCompact);
    bool isCompact() const { return compact; }

    /** Where the content begins: the line at the left has its own pixel. */
    int contentLeft() const { return lineAtLeft ? inset + 1 : inset; }

    void paint (juce::Graphics& g) override;
    void paintOverChildren (juce::Graphics& g) override;
    void focusGained (FocusChangeType cause) override;
    void focusLost (FocusChangeType cause) override;

private:
    const juce::String caption;
    const bool lineAtLeft;
    bool compact = false;
};

} // namespace tessivar
