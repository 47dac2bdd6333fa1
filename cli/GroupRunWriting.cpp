#include "cli/GroupRunSteps.h"

#include "cli/ReportCommand.h"
#include "model/Outcomes.h"
#include "model/groupfile/GroupFileSaving.h"
#include "model/settings/UserFolders.h"
#include "platform/AtomicFile.h"
#include "platform/Folders.h"
#include "report/ReportJob.h"

#include <algorithm>

namespace tessivar
{

bool GroupRun::write()
{
    if (! request.writesAudio())
        return true;

    const auto start = secondsNow();
    const bool folderExisted = request.outFolder.isDirectory();

    const WritingNote note (UserFolders::ofUser().writing(), request.outFolder);
    auto options = exportOptions();
    options.rules = &rulesOfWriting;
    progress.beginStage ("Writing");
    const auto written = exportTracks (group.tracks, options, control());
    ExportReport components;
    if (request.components && ! written.outcome.wasStopped())
    {
        progress.beginStage ("Components");
        components = exportComponents (group.tracks, options, control());
    }
    progress.finish();
    report.writingSeconds = secondsNow() - start;
    report.log = written.log();
    report.log.addArray (components.log());

    if (written.outcome.wasStopped() || components.outcome.wasStopped())
    {
        removeNewFiles (written, components, folderExisted);
        return interrupted();
    }

    int numWritten = 0;
    juce::StringArray errors;
    for (std::size_t i = 0; i < report.tracks.size(); ++i)
    {
        auto& reported = report.tracks[i];
        reported.output = written.tracks[i];
        if (reported.isWritten())
        {
            reported.outputFile = written.tracks[i].file;
            ++numWritten;
        }
        else if (! reported.isSourceItself)
        {
            errors.add (written.tracks[i].outcome.reason);
        }
    }

    // A folder that can't be written to fails all tracks for one reason, which is told once.
    errors.addArray (components.errors);
    errors.removeDuplicates (false);
    for (const auto& error : errors)
        tell (error);
    report.componentFiles = components.componentFiles;

    if (! errors.isEmpty())
        report.exitCode = numWritten == 0 ? exitCode::outputFailed : exitCode::someFailed;
    else
        report.exitCode = report.refused.empty() ? exitCode::done : exitCode::someFailed;
    return true;
}

void GroupRun::save()
{
    if (! request.saves())
        return;

    const auto start = secondsNow();
    progress.beginStage ("Saving");
    const WritingNote note (UserFolders::ofUser().writing(), request.saveFile.getParentDirectory());
    const auto made = makeFolder (request.saveFile.getParentDirectory());
    const auto claimed = rulesOfWriting.claimFile (request.saveFile, request.overwrite, request.groupFile);
    SavedGroup saved;
    const auto outcome =
        made.failed() ? outcomeOf (made)
        : claimed.failed()
            ? outcomeOf (claimed)
            : saveGroup (
                { .state = group, .target = request.saveFile, .currentFile = groupFile }, saved, control());
    report.savingSeconds = secondsNow() - start;

    if (outcome.isOk())
    {
        report.savedFile = request.saveFile;
        report.savedBytes = saved.bytesWritten;
        return;
    }

    if (outcome.wasStopped())
    {
        interrupted();
        return;
    }

    tell (outcome.reason);
    report.exitCode = exitCodeAfterFailure();
}

void GroupRun::writeReportPage()
{
    if (! request.reports() || stopRequested())
        return;

    const auto start = secondsNow();
    progress.beginStage ("Reporting");
    collectWarnings();
    report.method = method();
    report.hints = hintsFor (report);
    const WritingNote note (UserFolders::ofUser().writing(), request.reportFile.getParentDirectory());
    const auto outcome = writeReport (contentOf (report, request),
                                      { .file = request.reportFile,
                                        .overwrite = request.overwrite,
                                        .withAudio = request.reportAudio,
                                        .numThreads = request.numThreads,
                                        .rules = &rulesOfWriting },
                                      control());
    progress.finish();
    report.reportingSeconds = secondsNow() - start;

    if (outcome.isOk())
        report.reportFile = request.reportFile;
    else if (outcome.wasStopped())
        interrupted();
    else
    {
        tell (outcome.reason);
        report.exitCode = exitCodeAfterFailure();
    }
}

int GroupRun::exitCodeAfterFailure() const
{
    const auto wroteAudio = std::any_of (report.tracks.begin(),
                                         report.tracks.end(),
                                         [] (const ReportedTrack& track) { return track.isWritten(); });
    return wroteAudio ? exitCode::someFailed : exitCode::outputFailed;
}

void GroupRun::removeNewFiles (const ExportReport& written,
                               const ExportReport& components,
                               bool folderExisted)
{
    std::vector<juce::File> files = components.componentFiles;
    for (const auto& track : written.tracks)
        if (track.isWritten())
            files.push_back (track.file);

    for (const auto& file : files)
        if (std::find (replacedFiles.begin(), replacedFiles.end(), file) == replacedFiles.end())
            file.deleteFile();
    if (! folderExisted && request.outFolder.getNumberOfChildFiles (juce::File::findFilesAndDirectories) == 0)
        request.outFolder.deleteFile();
}

} // namespace tessivar
