#include "app/AppSettings.h"
#include "app/GroupWork.h"
#include "platform/AtomicFile.h"
#include "platform/Desktop.h"
#include "platform/DiskNames.h"
#include "report/ReportJob.h"

namespace tessivar
{

void GroupWork::exportReport (const Group::Ptr& group)
{
    const auto check = checkExportable (ExportScope::group, workspace, group.get(), nullptr);

    if (! check.isOk())
    {
        prompts.warn (check.reason);
        return;
    }

    auto answer = 0;
    MessageDialogSettings dialog;
    dialog.title = "Export Report";
    dialog.message = "Passages to listen to make the page about 3 MB larger for each track.";
    dialog.buttons = {
        { .text = "Cancel", .isSafe = true },
        { .text = "With audio" },
        { .text = "Pictures only", .look = ButtonLook::primary, .hasFirstFocus = true },
    };
    prompts.showMessage (dialog, [&] (int button, bool) { answer = button; });

    if (answer == 0)
        return;

    const auto file =
        chooseExportFile ("Choose a file for the report - " + group->name(),
                          "*.html",
                          portableFileName (juce::File::createLegalFileName (group->name()) + ".html"),
                          [] (const juce::File& chosen)
                          {
                              return chosen.hasFileExtension ("html;htm")
                                         ? chosen
                                         : chosen.getSiblingFile (chosen.getFileName() + ".html");
                          });

    if (! file)
        return;

    const WritingNote note (workspace.folders().writing(), file->getParentDirectory());
    auto rules = outputRules();
    ReportOptions options;
    options.file = *file;
    options.overwrite = true;
    options.withAudio = answer == 1;
    options.numThreads = analysisThreads (workspace.settings());
    options.rules = &rules;
    const auto content = contentOf (
        group->state(), group->file() != juce::File() ? group->file().getFullPathName() : juce::String());
    auto outcome = Outcome::stopped();
    const auto ended =
        runner.run ("Writing the report on " + group->name(),
                    {},
                    [&] (const WorkControl& control) { outcome = writeReport (content, options, control); });

    if (hasFailed (ended))
        outcome = ended;

    if (hasFailed (outcome))
        prompts.warn ("The report was not written.", outcome.reason);
    else if (outcome.isOk() && onNotice)
        onNotice ("Report written", "Open", [file] { openExternally (file->getFullPathName()); });
}

} // namespace tessivar
