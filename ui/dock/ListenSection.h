#pragma once

#include "ui/Buttons.h"
#include "ui/dock/DockSection.h"
#include "ui/dock/DockState.h"

namespace tessivar
{

/** A toggle with an icon, a word and its key, 40 px high. It reports presses and releases rather than clicks,
    because holding it means something else than clicking it.
*/
class ListenButton : public LookButton
{
public:
    ListenButton (const juce::String& word, const juce::String& key, Icon icon, ButtonLook lookWhenOn);

    std::function<void()> onPress, onRelease, onKeyboardClick;

    void mouseDown (const juce::MouseEvent& event) override;
    void mouseUp (const juce::MouseEvent& event) override;
    void clicked() override;
    void paintButton (juce::Graphics& g, bool over, bool down) override;

private:
    const juce::String key;
    bool heldByMouse = false;
};

/** Bypass, Removed, and a line that says what is heard. */
class ListenSection : public DockSection
{
public:
    ListenSection();

    void setState (const DockState& newState);

    /** Press and release of a mode, by mouse or by a key of the window; see ListenLatch. */
    void press (ListenMode mode);
    void release (ListenMode mode);

    /** What is to be heard has changed. */
    std::function<void (ListenMode)> onChange;

    bool keyPressed (const juce::KeyPress& keyPress) override;
    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    juce::String spokenValue() const override { return listeningText (state); }
    void apply (const std::function<void()>& change);
    void showListening();

    DockState state;
    ListenLatch latch;
    ListenButton bypass, removed;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (ListenSection)
};

} // namespace tessivar
