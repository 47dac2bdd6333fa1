#include "cli/Commands.h"

#include "cli/Arguments.h"
#include "cli/TerminalText.h"
#include "jobs/ExportTracks.h"
#include "jobs/ImportTracks.h"
#include "model/OutputRules.h"
#include "model/settings/UserFolders.h"
#include "platform/AtomicFile.h"
#include "terms/WorkControl.h"

#include <ostream>

namespace tessivar
{

namespace
{
constexpr auto licenceName = "LICENSE";

/** Puts the licence beside the tracks, unless the same text is already there. */
juce::Result
copyLicence (const juce::File& source, const juce::File& target, OutputRules& rules, bool overwrite)
{
    if (target.existsAsFile() && target.hasIdenticalContentTo (source))
        return juce::Result::ok();

    if (const auto claimed = rules.claimFile (target, overwrite); claimed.failed())
        return claimed;

    return replaceFile (target, source.loadFileAsString().toRawUTF8());
}
} // namespace

int runDemo (const Invocation& invocation, const CommandContext& context)
{
    const auto overwrite = invocation.has ("--overwrite");
    juce::File folder;
    if (const auto named = fileFromArgument (invocation.operands.front(), folder); named.failed())
        return context.fail (exitCode::usage, named.getErrorMessage());

    const auto demoFolder = context.resourceFolder.getChildFile ("demo");
    const auto inputs = collectInputFiles ({ demoFolder.getFullPathName().toStdString() });
    for (const auto& bad : inputs.bad)
        context.tellError ("the demo session is not installed: " + bad.reason);
    if (! inputs.bad.empty())
        return exitCode::inputRefused;

    std::unique_ptr<TemporaryStore> store;
    if (const auto opened = TemporaryStore::open (TemporaryStore::defaultFolder(), store); opened.failed())
        return context.fail (exitCode::outputFailed, opened.getErrorMessage());

    const WorkControl control{ .shouldStop = context.stopRequested, .setProgress = {} };
    ImportWarnings warnings;
    GroupState demo;
    for (const auto& file : inputs.files)
    {
        auto intake = importFile (file, 0.0, warnings, store.get(), control);
        if (intake.outcome.wasStopped())
            return context.failInterrupted();
        if (! intake.accepted())
            return context.fail (intake.outcome.end == Outcome::End::noRoom ? exitCode::outputFailed
                                                                            : exitCode::inputRefused,
                                 intake.outcome.reason);
        for (auto& track : intake.tracks)
            demo.tracks.push_back (std::move (track.state));
    }

    const WritingNote note (UserFolders::ofUser().writing(), folder);
    OutputRules rules;
    const auto report =
        exportTracks (demo.tracks,
                      { .folder = folder, .extension = ".wav", .overwrite = overwrite, .rules = &rules },
                      control);
    for (const auto& error : report.errors)
        context.tellError (error);
    if (report.outcome.wasStopped())
        return context.failInterrupted();

    int numWritten = 0;
    for (const auto& track : report.tracks)
        if (track.isWritten())
        {
            context.out << printable (track.file.getFullPathName()) << "\n";
            ++numWritten;
        }

    auto failed = ! report.errors.isEmpty();
    if (numWritten > 0)
    {
        const auto copied = copyLicence (
            demoFolder.getChildFile (licenceName), folder.getChildFile (licenceName), rules, overwrite);
        if (copied.failed())
            context.tellError (copied.getErrorMessage());
        failed = failed || copied.failed();
    }

    if (! failed)
        return exitCode::done;
    return numWritten == 0 ? exitCode::outputFailed : exitCode::someFailed;
}

} // namespace tessivar
