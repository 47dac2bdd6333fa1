#pragma once

#include "ui/Buttons.h"
#include "ui/dialogs/DialogShadow.h"

#include <functional>

namespace tessivar
{

/** One button of a dialog's bottom row. */
struct DialogButton
{
    juce::String text;
    ButtonLook look = ButtonLook::standard;
    bool atLeft = false; // apart from the others, at the left end
    bool hasFirstFocus = false;
    bool isSafe = false; // what Escape means
    bool closes = true;  // false: the dialog stays open after its callback
};

/** The card of a dialog: ground, edge, title, and a row of buttons at its bottom. Derived classes lay out and paint what
    lies between.

    A button calls back with its index among the buttons. Unless the button keeps the dialog open, `onDismiss` is called
    before `onChoice`, so that a choice may open the next dialog.
*/
class DialogContent : public juce::Component
{
public:
    DialogContent (const juce::String& titleText, std::vector<DialogButton> buttonsToShow);
    ~DialogContent() override = default;

    static constexpr int padding = 25; // 24 inside the edge

    /** Height that the dialog takes at this width, in logical pixels. */
    int idealHeight (int width) const;
    virtual int idealWidth() const { return 520; }

    /** What the screen reader says after the title. */
    virtual juce::String getMessage() const { return {}; }

    std::function<void (int)> onChoice;
    /** Set by whoever shows the dialog: takes it off the screen. */
    std::function<void()> onDismiss;
    /** Set likewise: the dialog asks for another height than before. */
    std::function<void()> onHeightChanged;

    ActionButton& getButton (int index) { return *buttons[static_cast<std::size_t> (index)]; }
    const ActionButton& getButton (int index) const { return *buttons[static_cast<std::size_t> (index)]; }
    int getNumButtons() const { return static_cast<int> (buttons.size()); }

    /** Chooses as a click on the button with this index does. */
    void choose (int index);
    /** Chooses the safe button; nothing when there is none. */
    void escape();
    void takeFirstFocus();

    bool keyPressed (const juce::KeyPress& key) override;
    void paint (juce::Graphics& g) override;
    void resized() override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

protected:
    /** Height of what lies between title and buttons, at the width inside the padding. */
    virtual int bodyHeight (int width) const = 0;
    virtual void layOutBody (juce::Rectangle<int> body) = 0;
    /** Width at the left that the title leaves free, for a sign. */
    virtual int titleIndent() const { return 0; }

    juce::Rectangle<int> bodyArea() const;
    juce::String getTitleText() const { return title; }
    void setTitleText (const juce::String& text);

private:
    static constexpr int titleHeight = 22;
    static constexpr int buttonHeight = 36;
    int buttonRowHeight() const { return buttons.empty() ? 0 : buttonHeight + 24; }

    juce::String title;
    std::vector<DialogButton> specs;
    std::vector<std::unique_ptr<ActionButton>> buttons;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DialogContent)
};

/** Text of several lines, 13 px on 19. */
juce::TextLayout layOutText (const juce::String& text, juce::Colour colour, float width);

/** Dims the window below and shows one dialog in its middle. Clicks beside the dialog go nowhere; Tab stays inside.
    Dialogs shown while one is open lie on top of it.
*/
class DialogScrim : public juce::Component
{
public:
    DialogScrim();

    void show (std::unique_ptr<DialogContent> content);
    /** Takes the top dialog away, without a choice. */
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
