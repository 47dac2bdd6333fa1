#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>
#include <memory>

namespace tessivar
{

/** A value that screen readers read but can't set; asked anew each time. */
class SpokenValue : public juce::AccessibilityTextValueInterface
{
public:
    explicit SpokenValue (std::function<juce::String()> textToSpeak) : text (std::move (textToSpeak)) {}
    bool isReadOnly() const override { return true; }
    juce::String getCurrentValueAsString() const override { return text(); }
    void setValueAsString (const juce::String&) override {}

private:
    const std::function<juce::String()> text;
};

/** The accessibility handler of a component that has such a value. */
inline std::unique_ptr<juce::AccessibilityHandler> makeSpokenHandler (juce::Component& component,
                                                                      juce::AccessibilityRole role,
                                                                      std::function<juce::String()> text)
{
    using Handler = juce::AccessibilityHandler;
    return std::make_unique<Handler> (
        component,
        role,
        juce::AccessibilityActions{},
        Handler::Interfaces{ std::make_unique<SpokenValue> (std::move (text)) });
}

} // namespace tessivar
