#pragma once

#include "app/FileChooser.h"
#include "jobs/UserPrompts.h"
#include "ui/ResourceImages.h"
#include "ui/dialogs/ChecklistDialog.h"
#include "ui/dialogs/ExportReportDialog.h"
#include "ui/dialogs/MessageDialog.h"

#include <optional>
#include <vector>

namespace tessivar
{

/** Tells and asks in dialogs over the window; each call returns once the user has answered. Message thread.
*/
class DialogPrompts final : public UserPrompts
{
public:
    DialogPrompts (DialogScrim& scrimToUse, const ResourceImages& imagesToUse)
        : scrim (scrimToUse), images (imagesToUse)
    {
    }

    void warn (const juce::String& text, const juce::String& details = {}) override;
    [[nodiscard]] bool ask (const Question& question) override;
    [[nodiscard]] bool showWarning (const ImportWarnings::Warning& warning) override;

    /** Shows a message that is no warning; details stand below the lines of the list. */
    void tell (const juce::String& title,
               const juce::String& text,
               const juce::StringArray& list = {},
               const juce::StringArray& details = {});

    void showMessage (const MessageDialogSettings& settings,
                      const std::function<void (int button, bool ticked)>& onResult);
    /** True when the user wants what failed to be tried again. */
    [[nodiscard]] bool showExportReport (const ExportReportContent& report,
                                         const std::function<void()>& onShowInFolder);

    /** The ticked entries; nothing if the user cancelled. */
    [[nodiscard]] std::optional<std::vector<bool>> pick (const juce::String& title,
                                                         const juce::String& message,
                                                         const std::vector<ChecklistDialog::Entry>& entries,
                                                         const juce::String& acceptButton);

    /** What the user chooses in the desktop's chooser, or in the program's own where there is none; nothing
        when it was cancelled.
    */
    [[nodiscard]] std::vector<juce::File> chooseFiles (const FileChooserRequest& request);

    /** Shows a dialog until it calls the function it is given; false if the program ends first. */
    bool
    showModally (const std::function<std::unique_ptr<DialogContent> (std::function<void()> close)>& make);

private:
    DialogScrim& scrim;
    const ResourceImages& images;
};

} // namespace tessivar
