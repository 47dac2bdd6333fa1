#pragma once

#include "terms/MixStrip.h"
#include "ui/Buttons.h"
#include "ui/ResourceImages.h"

namespace tessivar
{

/** "-3.5 dB" with a true minus sign, or "Off". */
juce::String faderText (float levelDb);

/** A small horizontal fader, in dB, that rests at 0 dB. A double-click or Backspace takes it there; the wheel
    moves it by half a dB and so do Left and Right while it has the focus, with Ctrl by a tenth, with Shift by
    three dB.
*/
class StripFader : public juce::Slider
{
public:
    explicit StripFader (const ResourceImages& images);

    void setLevel (float levelDb); // without calling back

    double snapValue (double attempted, DragMode mode) override;
    bool keyPressed (const juce::KeyPress& key) override;
    void mouseDown (const juce::MouseEvent& event) override;
    void mouseWheelMove (const juce::MouseEvent& event, const juce::MouseWheelDetails& wheel) override;
    void focusGained (FocusChangeType) override { repaint(); }
    void focusLost (FocusChangeType) override { repaint(); }
    void paint (juce::Graphics& g) override;

private:
    const SliderArt art;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (StripFader)
};

/** S, M and the fader of a track's row. Presses between them go to the row. */
class TrackStrip : public juce::Component
{
public:
    explicit TrackStrip (const ResourceImages& images);

    void show (const juce::String& trackName, const MixStrip& newStrip);

    std::function<void (bool)> onSolo, onMute;
    std::function<void (float)> onFader; // dB

    /** Whoever wants to know of the mouse over the strip's parts. */
    void addListenerToParts (juce::MouseListener& listener);

    void resized() override;

private:
    /** S or M: a letter in a face of 24 x 22 that lights up. */
    class LetterButton : public LookButton
    {
    public:
        LetterButton (const juce::String& letter, ButtonLook lookWhenOn);
        void mouseDown (const juce::MouseEvent& event) override;
        void paintButton (juce::Graphics& g, bool over, bool down) override;
    };

    LetterButton solo{ "S", ButtonLook::primary }, mute{ "M", ButtonLook::bypassOn };
    StripFader fader;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TrackStrip)
};

} // namespace tessivar
