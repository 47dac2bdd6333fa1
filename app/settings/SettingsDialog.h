#pragma once

#include "app/FileChooser.h"
#include "app/JobRunner.h"
#include "jobs/UserPrompts.h"
#include "model/TessivarWorkspace.h"
#include "playback/PlaybackDevice.h"
#include "ui/dialogs/DialogContent.h"

#include <functional>
#include <memory>
#include <vector>

namespace tessivar
{

/** In the order of the list. */
enum class SettingsPageId
{
    audioDevice,
    abbreviations,
    folders,
    performance
};

/** What the settings dialog works on; all of it outlives the dialog. */
struct SettingsDialogContext
{
    TessivarWorkspace& workspace;
    PlaybackDevice& device;
    UserPrompts& prompts;

    /** Hz of the selected Group; 0 when none is open. */
    std::function<double()> groupRate;

    /** Runs work behind a progress dialog and returns when it is over: JobRunner::run(). */
    std::function<Outcome (const juce::String& title, std::vector<ProgressStage>, const JobRunner::Work&)>
        runJob;

    /** Asks the user for a folder. */
    std::function<std::vector<juce::File> (const FileChooserRequest&)> chooseFiles;

    /** Called with the new size in percent, 0 for automatic, once it is stored. If empty, the page says that
        the size applies from the next start.
    */
    std::function<void (int percent)> onInterfaceSizeChanged;

    SettingsPageId firstPage = SettingsPageId::audioDevice;
};

/** The dialog "Settings", 720 x 480, for a DialogScrim. Changes are stored at once, abbreviation lists when
    saved. Once closed, it no longer touches its context. Message thread.
*/
[[nodiscard]] std::unique_ptr<DialogContent> makeSettingsDialog (SettingsDialogContext context);

} // namespace tessivar
