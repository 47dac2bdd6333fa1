#include "app/AppSettings.h"
#include "app/FileChooser.h"
#include "app/GroupWork.h"
#include "platform/Desktop.h"
#include "report/ReportJob.h"

#include <vector>

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

    FileChooserRequest request;
    request.title = "Choose a file for the report - " + group->name();
    request.wildcard = "*.html";
    request.kind = FileChooserRequest::Kind::saveFile;
    request.startFolder = workspace.exportDialogFolder();
    request.suggestedName = juce::File::createLegalFileName (group->name()) + ".html";
    const auto files = choose (request);

    if (files.empty())
        return;

    const auto file = files.front().hasFileExtension ("html;htm")
                          ? files.front()
                          : files.front().getSiblingFile (files.front().getFileName() + ".html");
    workspace.setLastExportFolder (file.getParentDirectory().getFullPathName());

    if (! confirmOverwriting (std::vector{ PlannedFile{ file } }, prompts))
        return;

    auto rules = outputRules();
    ReportOptions options;
    options.file = file;
    options.overwrite = true;
    options.withAudio = answer == 1;
    options.numThreads = analysisThreads (workspace.settings());
    options.rules = &rules;
    const auto content = contentOf (
        group->state(), group->file() != juce::File() ? group->file().getFullPathName() : juce::String());
    auto outcome = Outcome::stopped();
    const auto end =
        runner.run ("Writing the report on " + group->name(),
                    {},
                    [&] (const WorkControl& control) { outcome = writeReport (content, options, control); });

    if (end == JobRunner::End::failed)
        prompts.warn ("The report was not written.", runner.failure());
    else if (! outcome.isOk() && ! outcome.wasStopped())
        prompts.warn ("The report was not written.", juce::String (outcome.reason));
    else if (outcome.isOk() && onNotice)
        onNotice ("Report written", "Open", [file] { openExternally (file.getFullPathName()); });
}

} // namespace tessivar
