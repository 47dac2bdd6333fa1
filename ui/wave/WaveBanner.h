#pragma once

#include "ui/Icons.h"

#include <functional>

namespace tessivar
{

/** A line of text in a pill over the waveform: what is heard, or what to do next, the latter with a button.
    Without a button it lets the mouse through to the waveform. */
class WaveBanner : public juce::Component
{
public:
    enum class Kind
    {
        removed, // ember
        neutral, // bypass
        hint     // on a panel, larger, with a button
    };

    WaveBanner();

    std::function<void()> onButtonClick;

    /** An empty text hides the banner. */
    void show (Kind newKind, Icon newIcon, const juce::String& newText, const juce::String& buttonText);
    /** The size its content needs; the owner places it. */
    [[nodiscard]] juce::Rectangle<int> idealSize() const;

    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    class FilledButton : public juce::Button
    {
    public:
        FilledButton();
        void paintButton (juce::Graphics& g, bool isOver, bool isDown) override;
    };

    [[nodiscard]] juce::Font font() const;

    Kind kind = Kind::neutral;
    Icon icon = Icon::none;
    juce::String text;
    FilledButton button;
};

} // namespace tessivar
