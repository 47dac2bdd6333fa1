#pragma once

#include "ui/Buttons.h"

#include <juce_graphics/juce_graphics.h>

#include <functional>
#include <vector>

namespace tessivar
{

/** The soft shadow under a dialog's card. Blurring it takes longer than painting the rest of the window, and
    an open dialog is repainted all the time, so the shadow for each size of card is kept as an image in
    display pixels.
*/
class DialogShadow
{
public:
    static constexpr float cornerRadius = 12.0f; // of the card, logical pixels

    /** Draws the shadow around a card, but not under it, where the card would cover it. */
    void draw (juce::Graphics& g, juce::Rectangle<int> card);

private:
    struct Kept
    {
        int width = 0, height = 0; // of the card, logical pixels
        float scale = 1.0f;        // display pixels per logical pixel
        juce::Image image;
    };

    const juce::Image& imageFor (int width, int height, float scale);

    std::vector<Kept> kept; // the most recently drawn last
};

/** A button in a dialog's bottom row. */
struct DialogButton
{
    juce::String text;
    ButtonLook look = ButtonLook::standard;
    bool atLeft = false; // set apart at the left end
    bool hasFirstFocus = false;
    bool isSafe = false; // what Escape chooses
    bool closes = true;  // false: the dialog stays open after its callback
};

/** The card of a dialog: background, edge, title, and a row of buttons at the bottom. Derived classes lay out
    and paint the body in between.

    A button calls back with its index. Unless it keeps the dialog open, `onDismiss` is called before
    `onChoice`, so that a choice can open the next dialog.
*/
class DialogContent : public juce::Component
{
public:
    DialogContent (const juce::String& titleText, std::vector<DialogButton> buttonsToShow);
    ~DialogContent() override = default;

    static constexpr int padding = 25; // 24 inside the edge

    /** Height the dialog needs at this width, in logical pixels. */
    int idealHeight (int width) const;
    virtual int idealWidth() const { return 520; }

    /** Read by screen readers after the title. */
    virtual juce::String getMessage() const { return {}; }

    std::function<void (int)> onChoice;
    /** Removes the dialog from the screen; set by whoever shows it. */
    std::function<void()> onDismiss;
    /** The dialog needs a different height; set likewise. */
    std::function<void()> onHeightChanged;

    ActionButton& getButton (int index) { return *buttons[static_cast<std::size_t> (index)]; }
    const ActionButton& getButton (int index) const { return *buttons[static_cast<std::size_t> (index)]; }
    int getNumButtons() const { return static_cast<int> (buttons.size()); }

    /** Does what clicking the button with this index does. */
    void choose (int index);
    /** Chooses the safe button, if there is one. */
    void escape();
    void takeFirstFocus();

    bool keyPressed (const juce::KeyPress& key) override;
    void paint (juce::Graphics& g) override;
    void resized() override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

protected:
    /** Height of the body at the width inside the padding. */
    virtual int bodyHeight (int width) const = 0;
    virtual void layOutBody (juce::Rectangle<int> body) = 0;
    /** Width at the left of the title to keep free for a sign. */
    virtual int titleIndent() const { return 0; }

    juce::Rectangle<int> bodyArea() const;
    juce::String getTitleText() const { return title; }

private:
    static constexpr int titleHeight = 22;
    static constexpr int buttonHeight = 36;
    int buttonRowHeight() const { return buttons.empty() ? 0 : buttonHeight + 24; }

    const juce::String title;
    std::vector<DialogButton> specs;
    std::vector<std::unique_ptr<ActionButton>> buttons;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DialogContent)
};

/** Dims the window and shows one dialog in its middle. Clicks beside the dialog do nothing; Tab stays inside.
    A dialog shown while another is open lies on top of it.
*/
class DialogScrim : public juce::Component
{
public:
    DialogScrim();

    void show (std::unique_ptr<DialogContent> content);
    /** Removes the top dialog without a choice. */
    void dismissTop();
    bool isShowingDialog() const { return ! dialogs.empty(); }
    DialogContent* getTop() { return dialogs.empty() ? nullptr : dialogs.back().get(); }

    void paint (juce::Graphics& g) override;
    void resized() override;
    bool keyPressed (const juce::KeyPress& key) override;

private:
    void layOut (DialogContent& content);
    void remove (DialogContent* content);

    std::vector<std::unique_ptr<DialogContent>> dialogs;
    DialogShadow shadow;
    juce::Component::SafePointer<juce::Component> focusedBefore;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DialogScrim)
};

} // namespace tessivar
