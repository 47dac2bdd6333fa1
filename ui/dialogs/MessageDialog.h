#pragma once

#include "ui/TessivarControls.h"
#include "ui/dialogs/DialogContent.h"
#include "ui/dialogs/DialogList.h"

namespace tessivar
{

/** A message, optionally with a warning sign, a list that can be copied, and a dot to tick. */
struct MessageDialogSettings
{
    juce::String title, message;
    bool warns = false;        // shows the amber sign
    juce::StringArray list;    // files the message is about
    juce::StringArray details; // what there is to know about each of them; may be shorter than the list
    juce::String tickText;     // "Don't show this warning again."; empty: no dot
    std::vector<DialogButton> buttons;
    int width = 520;
};

class MessageDialog : public DialogContent
{
public:
    MessageDialog (const ResourceImages& images, const MessageDialogSettings& settings);

    bool isTicked() const { return tick.getToggleState(); }

    /** Called before the dialog closes, with the button pressed and whether the dot was ticked. */
    std::function<void (int button, bool ticked)> onResult;

    int idealWidth() const override { return settings.width; }
    juce::String getMessage() const override { return settings.message; }
    void paint (juce::Graphics& g) override;
    void paintOverChildren (juce::Graphics& g) override;

protected:
    int bodyHeight (int width) const override;
    void layOutBody (juce::Rectangle<int> body) override;
    int titleIndent() const override { return settings.warns ? signWidth : 0; }

private:
    static constexpr int signWidth = 60;
    int textWidth (int width) const { return width - titleIndent(); }

    const MessageDialogSettings settings;
    DialogList list;
    TessivarCheckBox tick;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (MessageDialog)
};

/** A warning with a list of files and their details: "Copy list", which copies both and keeps the dialog
    open, and "OK". With `mayBeSilenced` there is also the dot "Don't show this warning again."; onClose
    receives its state.
*/
std::unique_ptr<MessageDialog> makeWarningDialog (const ResourceImages& images,
                                                  const juce::String& title,
                                                  const juce::String& message,
                                                  const juce::StringArray& list,
                                                  const juce::StringArray& details,
                                                  bool mayBeSilenced,
                                                  std::function<void (bool silence)> onClose);

/** A question with two answers. A safe question has the focus on its affirmative answer; one that overwrites
    or discards has it on the negative one, and its affirmative takes the look given. @param affirmativeLook
    primary, caution or danger
*/
std::unique_ptr<MessageDialog> makeQuestionDialog (const ResourceImages& images,
                                                   const juce::String& title,
                                                   const juce::String& message,
                                                   const juce::String& affirmative,
                                                   const juce::String& negative,
                                                   ButtonLook affirmativeLook,
                                                   std::function<void (bool)> onAnswer);

} // namespace tessivar
