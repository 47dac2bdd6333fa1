#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <cstdint>

namespace tessivar
{

/** How visible a value label is: shown, fading, or held while its editor is open. */
struct KnobLabelState
{
    static constexpr std::uint8_t alphaStep = 3;

    enum class Change
    {
        none,   // the label keeps its look
        redraw, // draw with the lower alpha
        hide    // the fade has ended
    };

    std::uint8_t alpha = 255;
    bool fading = false;

    /** Full opacity; fades from the next tick that finds no editor open. */
    void show();

    /** Full opacity; fades from the next tick on. */
    void valueChanged();

    /** Holds the label while it is edited. */
    void holdForEditing() { fading = false; }

    /** One step of the fade, 30 times a second: 84 steps from full opacity to hidden. */
    Change fadeTick (bool editorOpen);
};

/** The value below a knob: appears on a change or a double-click, fades out, and takes a typed percentage.

    The owner registers it as a listener of its knob, calls fadeTick from its timer, and sets onTextChange to
    hear of typed text (see percentFromText); Escape and unchanged text call nothing.
*/
class TessivarKnobTooltip : public juce::Label, public juce::Slider::Listener
{
public:
    TessivarKnobTooltip();

    void sliderValueChanged (juce::Slider* slider) override;
    void mouseDown (const juce::MouseEvent& event) override;

    /** Shows a text at full opacity, above its siblings. */
    void showText (const juce::String& text);

    /** Called by the owner's timer. */
    void fadeTick();

protected:
    juce::TextEditor* createEditorComponent() override;
    void editorShown (juce::TextEditor* box) override;

private:
    void applyAlpha();

    KnobLabelState state;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarKnobTooltip)
};

} // namespace tessivar
