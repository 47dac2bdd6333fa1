#include "ui/dialogs/MessageDialog.h"

#include "ui/Call.h"
#include "ui/Palette.h"
#include "ui/dialogs/DialogText.h"

namespace tessivar
{
namespace
{

std::vector<DialogListRow> rowsFrom (const juce::StringArray& list, const juce::StringArray& details)
{
    std::vector<DialogListRow> rows;
    for (int i = 0; i < list.size(); ++i)
        rows.push_back ({ .text = list[i], .detail = details[i] });
    return rows;
}

juce::String copiedList (const juce::StringArray& list, const juce::StringArray& details)
{
    juce::StringArray lines;
    for (int i = 0; i < list.size(); ++i)
        lines.add (details[i].isEmpty() ? list[i] : list[i] + ": " + details[i].replace ("\n", "; "));
    return lines.joinIntoString ("\n");
}

constexpr int listRowHeight = 30, textTop = 6, listGap = 18;
constexpr juce::juce_wchar enSpace = 0x2002; // separates the text from the dot

} // namespace

MessageDialog::MessageDialog (const ResourceImages& images, const MessageDialogSettings& settingsToUse)
    : DialogContent (settingsToUse.title, settingsToUse.buttons), settings (settingsToUse), list (images),
      tick (images, juce::String::charToString (enSpace) + settingsToUse.tickText)
{
    list.setRows (rowsFrom (settings.list, settings.details), listRowHeight);
    if (! settings.list.isEmpty())
        addAndMakeVisible (list);
    if (settings.tickText.isNotEmpty())
    {
        addAndMakeVisible (tick);
        tick.setTitle (settings.tickText);
    }
    onChoice = [this] (int index)
    {
        const auto result = onResult;
        const auto ticked = isTicked();
        call (result, index, ticked);
    };
}

int MessageDialog::bodyHeight (int width) const
{
    const auto text =
        layOutText (settings.message, palette::textMid, static_cast<float> (textWidth (width))).getHeight();
    auto height = textTop + juce::roundToInt (std::ceil (text));
    if (settings.warns)
        height = std::max (height, 24);
    if (! settings.list.isEmpty())
        height += listGap + list.idealHeight (width);
    return height;
}

void MessageDialog::layOutBody (juce::Rectangle<int> body)
{
    // A dialog too high for the window shortens its list; nothing else can scroll.
    const auto above = bodyHeight (body.getWidth()) - list.idealHeight (body.getWidth());
    list.setBounds (body.withTrimmedTop (std::min (above, body.getHeight())));
    const auto row = getButton (0).getBounds();
    tick.layOut (
        juce::Rectangle<int> (padding + 1, row.getY(), 240, row.getHeight()).withSizeKeepingCentre (240, 20));
}

void MessageDialog::paint (juce::Graphics& g)
{
    DialogContent::paint (g);
    auto body = bodyArea();
    if (settings.warns)
    {
        const auto tile = juce::Rectangle<int> (padding, padding, 44, 44).toFloat();
        g.setColour (palette::amber.withAlpha (0.13f));
        g.fillRoundedRectangle (tile, 10.0f);
        drawIcon (g, Icon::warning, tile.reduced (11.0f), palette::amber);
    }
    body.removeFromLeft (titleIndent());
    layOutText (settings.message, palette::textMid, static_cast<float> (body.getWidth()))
        .draw (g, body.withTrimmedTop (textTop).toFloat());
}

void MessageDialog::paintOverChildren (juce::Graphics& g)
{
    if (tick.isVisible() && tick.getParentComponent() == this)
        drawSocket (g, tick.getDotArea());
}

std::unique_ptr<MessageDialog> makeWarningDialog (const ResourceImages& images,
                                                  const juce::String& title,
                                                  const juce::String& message,
                                                  const juce::StringArray& list,
                                                  const juce::StringArray& details,
                                                  bool mayBeSilenced,
                                                  std::function<void (bool silence)> onClose)
{
    MessageDialogSettings settings;
    settings.title = title;
    settings.message = message;
    settings.warns = true;
    settings.list = list;
    settings.details = details;
    if (mayBeSilenced)
        settings.tickText = "Don't show this warning again.";
    if (! list.isEmpty())
        settings.buttons.push_back ({ .text = "Copy list", .closes = false });
    settings.buttons.push_back (
        { .text = "OK", .look = ButtonLook::primary, .hasFirstFocus = true, .isSafe = true });

    auto dialog = std::make_unique<MessageDialog> (images, settings);
    const auto okIndex = static_cast<int> (settings.buttons.size()) - 1;
    dialog->onResult =
        [okIndex, copied = copiedList (list, details), close = std::move (onClose)] (int button, bool ticked)
    {
        if (button != okIndex)
            juce::SystemClipboard::copyTextToClipboard (copied);
        else
            call (close, ticked);
    };
    return dialog;
}

std::unique_ptr<MessageDialog> makeQuestionDialog (const ResourceImages& images,
                                                   const juce::String& title,
                                                   const juce::String& message,
                                                   const juce::String& affirmative,
                                                   const juce::String& negative,
                                                   ButtonLook affirmativeLook,
                                                   std::function<void (bool)> onAnswer)
{
    const auto destroys = affirmativeLook != ButtonLook::primary;
    MessageDialogSettings settings;
    settings.title = title;
    settings.message = message;
    settings.warns = destroys;
    settings.width = destroys ? 480 : 560;

    const DialogButton yes{ .text = affirmative, .look = affirmativeLook, .hasFirstFocus = ! destroys };
    const DialogButton no{ .text = negative, .hasFirstFocus = destroys, .isSafe = true };
    // The primary button stands at the right; a destructive question puts the safe answer there.
    settings.buttons = destroys ? std::vector<DialogButton>{ yes, no } : std::vector<DialogButton>{ no, yes };
    const auto yesIndex = destroys ? 0 : 1;

    auto dialog = std::make_unique<MessageDialog> (images, settings);
    dialog->onResult = [yesIndex, answer = std::move (onAnswer)] (int button, bool)
    { call (answer, button == yesIndex); };
    return dialog;
}

} // namespace tessivar
