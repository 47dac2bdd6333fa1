#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** A section of the dock: caption at the top, divider at the left, and a focus ring while it has the
    keyboard.

    The controls inside take no focus, so the section does, and passes the keys on.
*/
class DockSection : public juce::Component
{
public:
    static constexpr int inset = 16;

    DockSection (const juce::String& captionText, bool takesKeyboard, bool hasLineAtLeft);

    void setCompact (bool shouldBeCompact);
    bool isCompact() const { return compact; }

    /** Left edge of the content, past the divider's pixel. */
    int contentLeft() const { return lineAtLeft ? inset + 1 : inset; }

    void paint (juce::Graphics& g) override;
    void paintOverChildren (juce::Graphics& g) override;
    void focusGained (FocusChangeType) override { repaint(); }
    void focusLost (FocusChangeType) override { repaint(); }
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

protected:
    /** What screen readers tell after the caption. */
    virtual juce::String spokenValue() const { return {}; }
    /** Lets them tell it when it is another than before. */
    void tellValue();

private:
    const juce::String caption;
    const bool lineAtLeft;
    bool compact = false;
    juce::String told;
};

} // namespace tessivar
