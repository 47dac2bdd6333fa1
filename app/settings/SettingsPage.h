#pragma once

#include "app/settings/SettingsWidgets.h"

#include <functional>
#include <utility>

namespace tessivar
{

/** One page of the settings: lies right of the list of pages and above the dialog's bottom row. */
class SettingsPage : public juce::Component
{
public:
    explicit SettingsPage (const juce::String& title)
    {
        setTitle (title);
        setFocusContainerType (FocusContainerType::none);
    }

    /** The page comes to the front. */
    void open()
    {
        front = true;
        enter();
    }

    /** Another page comes to the front, or the dialog closes: the context is not touched after this. */
    void close()
    {
        if (std::exchange (front, false))
            leave();
    }

    /** Ask this after anything that delivers messages: the user may have closed the dialog. */
    [[nodiscard]] bool isOpen() const { return front; }

    /** What stands left of the dialog's button. */
    [[nodiscard]] virtual juce::String footnote() const { return "Changes apply at once."; }

    std::function<void()> onFootnoteChanged;

protected:
    /** Shows the current state. */
    virtual void enter() = 0;

    /** Called once for each enter(). */
    virtual void leave() {}

    // Of the layout, in logical pixels.
    static constexpr int inset = 20, labelHeight = 16, labelGap = 6, fieldHeight = 32, columnGap = 16;
    static constexpr int rowPitch = 71, smallButtonHeight = 28;

    [[nodiscard]] juce::Rectangle<int> contentArea() const { return getLocalBounds().reduced (inset); }

    /** Puts a label and the field below it at the top of an area; returns the field's area. */
    static juce::Rectangle<int>
    placeField (juce::Component& label, juce::Component& field, juce::Rectangle<int> area)
    {
        label.setBounds (area.removeFromTop (labelHeight));
        area.removeFromTop (labelGap);
        field.setBounds (area.removeFromTop (fieldHeight));
        return field.getBounds();
    }

    /** Call this before a click disables or hides its own button, or the focus, and with it Escape, is lost.
    */
    static void passFocus (const juce::Component& from, juce::Component& to)
    {
        if (from.hasKeyboardFocus (true))
            to.grabKeyboardFocus();
    }

    void footnoteChanged() const
    {
        if (onFootnoteChanged)
            onFootnoteChanged();
    }

private:
    bool front = false;
};

} // namespace tessivar
