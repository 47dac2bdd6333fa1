#include "app/about/AboutDialog.h"

#include "model/Version.h"

namespace tessivar
{

namespace
{
/** A line for each work in the tables of the notices: whose it is, and its licence. */
juce::StringArray noticesFrom (const juce::File& file)
{
    juce::StringArray result;

    for (const auto& line : juce::StringArray::fromLines (file.loadFileAsString()))
    {
        auto cells = juce::StringArray::fromTokens (line, "|", {});
        cells.trim();
        cells.removeEmptyStrings();

        if (! line.startsWith ("|") || cells.size() < 4 || cells[0] == "work" || cells[0].startsWith ("--"))
            continue;

        result.add (cells[0] + ": " + cells[3]);
    }

    result.add (file.getFullPathName());
    return result;
}
} // namespace

void showAboutDialog (DialogPrompts& prompts,
                      const ResourceImages& images,
                      const juce::File& resourceFolder,
                      const std::function<juce::String (bool)>& diagnostics)
{
    enum Button
    {
        copy,
        close
    };

    MessageDialogSettings settings;
    settings.title = "About tessivar";
    settings.message = juce::String (programVersion()) + " (rev. " + juce::String (programRevision())
                       + ")\nLeakage reduction for multitrack drum recordings. Free software under the GNU "
                         "General Public License, version 3, "
                         "with parts by others:";
    settings.list = noticesFrom (resourceFolder.getChildFile ("THIRD-PARTY-NOTICES.md"));
    settings.tickText = "With names of files and folders";
    settings.buttons = {
        { .text = "Copy diagnostics", .closes = false },
        { .text = "Ok", .look = ButtonLook::primary, .hasFirstFocus = true, .isSafe = true },
    };
    settings.width = 640;

    prompts.showModally (
        [&] (std::function<void()> closeDialog)
        {
            auto dialog = std::make_unique<MessageDialog> (images, settings);
            auto* shown = dialog.get();
            dialog->onResult = [shown, closeDialog, &diagnostics] (int button, bool withPaths)
            {
                if (button == copy)
                {
                    juce::SystemClipboard::copyTextToClipboard (diagnostics (withPaths));
                    shown->getButton (copy).setButtonText ("Copied");
                }
                else
                {
                    closeDialog();
                }
            };
            return dialog;
        });
}

} // namespace tessivar
