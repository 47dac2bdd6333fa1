#include "app/DialogPrompts.h"

#include "model/ForeignText.h"
#include "ui/dialogs/FileDialog.h"

#include <memory>
#include <utility>

namespace tessivar
{

bool DialogPrompts::showModally (
    const std::function<std::unique_ptr<DialogContent> (std::function<void()> close)>& make)
{
    // Shared with the dialog's callbacks, which may outlive this call.
    const auto answered = std::make_shared<bool> (false);
    auto content = make ([answered] { *answered = true; });
    juce::Component::SafePointer<DialogContent> dialog (content.get());
    scrim.show (std::move (content));

    while (! *answered && dialog != nullptr)
        if (! juce::MessageManager::getInstance()->runDispatchLoopUntil (20))
            break;

    if (! *answered && dialog != nullptr && scrim.getTop() == dialog.getComponent())
        scrim.dismissTop();

    return *answered;
}

void DialogPrompts::warn (const juce::String& text, const juce::String& details)
{
    juce::Logger::writeToLog ("Warned: " + text + " " + details);
    MessageDialogSettings settings;
    settings.title = "Warning";
    settings.message = shownText (details.isEmpty() ? text : text + "\n\n" + details);
    settings.warns = true;

    settings.buttons = {
        { .text = "Ok", .look = ButtonLook::primary, .hasFirstFocus = true, .isSafe = true }
    };
    showMessage (settings, [] (int, bool) {});
}

void DialogPrompts::tell (const juce::String& title,
                          const juce::String& text,
                          const juce::StringArray& list,
                          const juce::StringArray& details)
{
    MessageDialogSettings settings;
    settings.title = title;
    settings.message = shownText (text);

    for (const auto& line : list)
        settings.list.add (shownText (line));

    for (const auto& line : details)
        settings.details.add (shownText (line));

    settings.buttons = {
        { .text = "Ok", .look = ButtonLook::primary, .hasFirstFocus = true, .isSafe = true }
    };
    showMessage (settings, [] (int, bool) {});
}

void DialogPrompts::showMessage (const MessageDialogSettings& settings,
                                 const std::function<void (int button, bool ticked)>& onResult)
{
    showModally (
        [&] (std::function<void()> close)
        {
            auto dialog = std::make_unique<MessageDialog> (images, settings);
            dialog->onResult = [onResult, close] (int button, bool ticked)
            {
                onResult (button, ticked);
                close();
            };
            return dialog;
        });
}

bool DialogPrompts::showExportReport (const ExportReportContent& report,
                                      const std::function<void()>& onShowInFolder)
{
    const auto again = std::make_shared<bool> (false);
    showModally (
        [&] (std::function<void()>)
        {
            auto dialog = std::make_unique<ExportReportDialog> (images, report);
            dialog->onShowInFolder = onShowInFolder;
            dialog->onTryAgain = [again] { *again = true; };
            return dialog;
        });
    return *again;
}

bool DialogPrompts::ask (const Question& question)
{
    const auto look = question.risk == Risk::discards     ? ButtonLook::danger
                      : question.risk == Risk::overwrites ? ButtonLook::caution
                                                          : ButtonLook::primary;
    const auto accepted = std::make_shared<bool> (false);
    showModally (
        [&] (std::function<void()> close)
        {
            return makeQuestionDialog (images,
                                       question.title,
                                       shownText (question.text),
                                       question.acceptButton,
                                       question.refuseButton,
                                       look,
                                       [accepted, close] (bool answer)
                                       {
                                           *accepted = answer;
                                           close();
                                       });
        });
    return *accepted;
}

bool DialogPrompts::showWarning (const ImportWarnings::Warning& warning)
{
    const auto silence = std::make_shared<bool> (false);
    juce::StringArray entries, reasons;

    for (int i = 0; i < warning.entries.size(); ++i)
        if (warning.entries[i].isNotEmpty())
        {
            entries.add (warning.entries[i]);
            reasons.add (warning.reasons[i]);
        }

    showModally (
        [&] (std::function<void()> close)
        {
            return makeWarningDialog (images,
                                      "Warning",
                                      warning.message,
                                      entries,
                                      reasons,
                                      warning.canBeSilenced,
                                      [silence, close] (bool never)
                                      {
                                          *silence = never;
                                          close();
                                      });
        });
    return *silence;
}

std::optional<std::vector<bool>> DialogPrompts::pick (const juce::String& title,
                                                      const juce::String& message,
                                                      const std::vector<ChecklistDialog::Entry>& entries,
                                                      const juce::String& acceptButton)
{
    const auto result = std::make_shared<std::optional<std::vector<bool>>>();
    showModally (
        [&] (std::function<void()> close)
        {
            auto dialog = std::make_unique<ChecklistDialog> (
                images,
                title,
                message,
                entries,
                std::vector<DialogButton>{
                    { .text = "Cancel", .isSafe = true },
                    { .text = acceptButton, .look = ButtonLook::primary, .hasFirstFocus = true },
                });
            dialog->onResult = [result, close] (int button, const std::vector<bool>& ticked)
            {
                if (button == 1)
                    *result = ticked;

                close();
            };
            return dialog;
        });
    return *result;
}

std::vector<juce::File> DialogPrompts::chooseFiles (const FileChooserRequest& request)
{
    if (const auto chosen = chooseWithDesktop (request))
        return *chosen;

    const auto saves = request.kind == FileChooserRequest::Kind::saveFile;
    const auto folder = nearestFolder (request.startFolder);
    const auto files = std::make_shared<std::vector<juce::File>>();
    showModally (
        [&] (std::function<void()> close)
        {
            auto dialog = std::make_unique<FileDialog> (
                FileDialog::Settings{ .title = request.title,
                                      .acceptText = saves                    ? "Save"
                                                    : request.wantsFolders() ? "Choose"
                                                                             : "Open",
                                      .wildcard = bothCases (request.wildcard).replace (" ", ";"),
                                      .start = saves ? folder.getChildFile (request.suggestedName) : folder,
                                      .saves = saves,
                                      .choosesFolders = request.wantsFolders(),
                                      .severalAtOnce = request.wantsSeveral() });
            dialog->onResult = [files, close] (const std::vector<juce::File>& chosen)
            {
                *files = chosen;
                close();
            };
            return dialog;
        });
    return *files;
}

} // namespace tessivar
