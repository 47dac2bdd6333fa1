#pragma once

#include "app/settings/SettingsDialog.h"
#include "app/settings/SettingsWidgets.h"

#include <functional>
#include <memory>
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
    /** Shows the current settings. */
    virtual void enter() = 0;

    /** Called once for each enter(). */
    virtual void leave() {}

    // Of the layout, in logical pixels.
    static constexpr int inset = 20, labelHeight = 16, labelGap = 6, fieldHeight = 32, columnGap = 16;
    static constexpr int smallButtonHeight = 28;

    [[nodiscard]] juce::Rectangle<int> contentArea() const { return getLocalBounds().reduced (inset); }

    /** Width of a column where there are two. */
    [[nodiscard]] int columnWidth() const { return (contentArea().getWidth() - columnGap) / 2; }

    /** Puts components on the page, fields with their labels. */
    template <typename... Components>
    void add (Components&... components)
    {
        (addOne (components), ...);
    }

    /** Puts a label at the top of an area, takes it and the row below from the area, and returns the row. */
    static juce::Rectangle<int>
    takeRow (juce::Component& label, juce::Rectangle<int>& area, int gap = labelGap, int height = fieldHeight)
    {
        label.setBounds (area.removeFromTop (labelHeight));
        area.removeFromTop (gap);
        return area.removeFromTop (height);
    }

    /** Call this before a click disables or hides its own button, or the focus, and with it Escape, is lost.
    */
    static void passFocus (const juce::Component& from, juce::Component& to)
    {
        if (from.hasKeyboardFocus (true))
            to.grabKeyboardFocus();
    }

private:
    template <typename Component>
    void addOne (Component& component)
    {
        if constexpr (requires { component.label; })
            addAndMakeVisible (component.label);

        addAndMakeVisible (component);
    }

    bool front = false;
};

/** Driver, output, channels, buffer and rate of the sound device. Each change reopens it at once. */
[[nodiscard]] std::unique_ptr<SettingsPage> makeAudioPage (const SettingsDialogContext& context);

/** The lists by which file names tell their drum types. */
[[nodiscard]] std::unique_ptr<SettingsPage> makeAbbreviationsPage (const SettingsDialogContext& context);

/** Where temporary files go, and where an export starts. */
[[nodiscard]] std::unique_ptr<SettingsPage> makeFoldersPage (const SettingsDialogContext& context);

/** Threads and method of the analysis, read-ahead, disk benchmark, size and motion of the interface. */
[[nodiscard]] std::unique_ptr<SettingsPage> makePerformancePage (const SettingsDialogContext& context);

} // namespace tessivar
