#include "cli/ProcessCommand.h"

#include "cli/InputFiles.h"
#include "cli/ProcessReport.h"
#include "cli/ProgressDisplay.h"
#include "cli/TerminalText.h"
#include "jobs/ImportTracks.h"
#include "jobs/SelfTest.h"
#include "jobs/SystemResources.h"
#include "model/Abbreviations.h"
#include "model/AudioIntake.h"
#include "model/TemporaryStore.h"

#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <ostream>
#include <utility>

namespace tessivar
{

namespace
{
constexpr int largeGroup = 16;    // more active tracks than this are worth a warning
constexpr double faintDb = -12.0; // below this level against its source a track has likely lost its drum

double secondsNow()
{
    return std::chrono::duration<double> (std::chrono::steady_clock::now().time_since_epoch()).count();
}

/** The folder, or the nearest one above it that exists. */
juce::File existingAncestor (juce::File folder)
{
    while (! folder.exists() && folder != folder.getParentDirectory())
        folder = folder.getParentDirectory();
    return folder;
}

bool areOnOneFileSystem (const juce::File& a, const juce::File& b)
{
    struct stat statusA = {}, statusB = {};
    return stat (existingAncestor (a).getFullPathName().toRawUTF8(), &statusA) == 0
           && stat (existingAncestor (b).getFullPathName().toRawUTF8(), &statusB) == 0
           && statusA.st_dev == statusB.st_dev;
}

/** Whether two names lead to one file, through links too. */
bool isSameFile (const juce::File& a, const juce::File& b)
{
    struct stat statusA = {}, statusB = {};
    return a == b
           || (stat (a.getFullPathName().toRawUTF8(), &statusA) == 0
               && stat (b.getFullPathName().toRawUTF8(), &statusB) == 0 && statusA.st_dev == statusB.st_dev
               && statusA.st_ino == statusB.st_ino);
}

juce::String pathOf (const juce::File& file)
{
    return printable (file.getFullPathName());
}

/** One run of the command, step after step. A step that returns false ends the run with the exit code it set. */
class ProcessRun
{
public:
    ProcessRun (const ProcessRequest& requestToUse, const CommandContext& contextToUse)
        : request (requestToUse), context (contextToUse),
          progress (contextToUse.diagnostics, progressStyle(), secondsNow)
    {
    }

    int run()
    {
        const auto start = secondsNow();

        if (checkFiles() && applyChoices() && planOutput() && checkRoom() && ! request.dryRun)
            if (readTracks() && analyse())
                write();

        progress.finish();
        report.totalSeconds = secondsNow() - start;
        collectWarnings();
        collectHints();
        return print();
    }

private:
    /** A file that was accepted by its header, and the tracks it becomes: [firstTrack, firstTrack + numTracks). */
    struct CheckedFile
    {
        juce::File file;
        std::size_t firstTrack = 0;
        std::size_t numTracks = 0;
    };

    ProgressDisplay::Style progressStyle() const
    {
        if (request.quiet)
            return ProgressDisplay::Style::none;
        return context.diagnosticsAreTerminal ? ProgressDisplay::Style::bar : ProgressDisplay::Style::lines;
    }

    bool end (int exitCode)
    {
        report.exitCode = exitCode;
        return false;
    }

    bool fail (int exitCode, const juce::String& reason)
    {
        tell (reason);
        return end (exitCode);
    }

    bool interrupted() { return fail (exitCode::interrupted, "interrupted"); }

    void tell (const juce::String& error)
    {
        progress.finish();
        report.errors.add (error);
        context.tellError (error);
    }

    void refuse (const juce::String& file, std::optional<int> code, const juce::String& reason)
    {
        report.refused.push_back ({ file, code, reason });
        tell (reason);
    }

    [[nodiscard]] AnalysisControl control()
    {
        return { .shouldStop = context.stopRequested,
                 .setProgress = [this] (double fraction) { progress.setProgress (fraction); } };
    }

    [[nodiscard]] bool stopRequested() const { return context.stopRequested && context.stopRequested(); }

    [[nodiscard]] ExportOptions exportOptions() const
    {
        return { .folder = request.outFolder,
                 .extension = request.extension,
                 .overwrite = request.overwrite };
    }

    [[nodiscard]] AnalyseOptions analyseOptions() const
    {
        return { .resourceFolder = context.resourceFolder,
                 .numThreads = request.numThreads,
                 .seed = request.seed,
                 .method = request.method,
                 .keepAllComponents = request.components };
    }

    /** Looks at every header; what is refused here costs no time and no disk. */
    bool checkFiles()
    {
        const auto inputs = collectInputFiles (request.inputs);
        for (const auto& bad : inputs.bad)
            refuse (bad.argument, {}, bad.reason);

        std::vector<IntakeTrack> batch;
        for (const auto& file : inputs.files)
        {
            if (stopRequested())
                return interrupted();

            inputNames.add (file.getFileNameWithoutExtension());
            auto outcome = importFile (file, sampleRate, warnings, nullptr, control());
            if (outcome.intake.cancelled)
                return interrupted();
            if (! outcome.intake.accepted())
            {
                refuse (file.getFullPathName(), outcome.intake.code, outcome.intake.reason);
                continue;
            }

            checkedFiles.push_back ({ file, session.size(), outcome.tracks.size() });
            sampleRate = outcome.tracks.front().sampleRate;
            for (std::size_t i = 0; i < outcome.tracks.size(); ++i)
            {
                const auto& intake = outcome.intake.tracks[i];
                session.push_back (outcome.tracks[i]);
                batch.push_back (intake);

                ReportedTrack reported;
                reported.typeOrigin = originOf (classifyTrackFile (intake.file.getFullPathName()));
                reported.abbreviation = intake.matchedAbbreviation;
                report.tracks.push_back (reported);
            }
            addNotes (outcome.intake.notes);
        }

        if (session.empty())
            return fail (exitCode::inputRefused, "there is no usable audio file");

        checkBatch ({}, batch, warnings);
        return true;
    }

    void addNotes (const juce::StringArray& notes)
    {
        for (const auto& note : notes)
            report.notes.addIfNotAlreadyThere (note);
    }

    bool applyChoices()
    {
        // Names of refused files count as well: a damaged file does not turn its options into mistakes.
        for (const auto& [option, patterns] : { std::pair{ "--focus", request.focus.perTrack.patterns() },
                                                std::pair{ "--fine", request.fine.perTrack.patterns() },
                                                std::pair{ "--type", request.types.patterns() },
                                                std::pair{ "--exclude", request.excluded } })
        {
            const auto outcome = checkPatterns (option, patterns, inputNames);
            if (outcome.failed())
                return fail (exitCode::usage, outcome.getErrorMessage());
        }

        int numActive = 0;
        for (std::size_t i = 0; i < session.size(); ++i)
        {
            auto& track = session[i];
            track.setting = { request.focus.valueFor (track.name), request.fine.valueFor (track.name) };
            for (const auto& pattern : request.excluded)
                track.excluded = track.excluded || matchesPattern (track.name, pattern);
            if (const auto type = request.types.valueFor (track.name))
            {
                track.drumType = *type;
                report.tracks[i].typeOrigin = TypeOrigin::given;
            }

            numActive += track.excluded ? 0 : 1;
        }

        if (numActive > largeGroup)
            warnings.add ({}, ImportWarnings::largeGroup);

        const auto refusal = analysisRefusal (session);
        if (refusal.isNotEmpty())
            return fail (exitCode::inputRefused, refusal);
        return true;
    }

    /** Names the files to be written, and refuses now what would be refused after minutes of work. */
    bool planOutput()
    {
        auto planned = session;
        for (auto& track : planned)
            track.processed = track.takesPart();
        const auto files = planExport (planned, exportOptions());

        juce::StringArray problems;
        for (std::size_t i = 0; i < files.size(); ++i)
        {
            auto& reported = report.tracks[i];
            reported.outputFile = files[i];
            reported.isSourceItself = ! planned[i].processed && isSameFile (files[i], session[i].sourceFile);
            if (reported.isSourceItself || ! files[i].exists())
                continue;

            const bool isSource = std::any_of (session.begin(),
                                               session.end(),
                                               [&] (const SessionTrack& track)
                                               { return isSameFile (files[i], track.sourceFile); });
            if (isSource)
                problems.add (pathOf (files[i])
                              + ": the file is one of the sources, which are never replaced");
            else if (files[i].isDirectory())
                problems.add (pathOf (files[i]) + ": a folder has this name");
            else if (! request.overwrite)
                problems.add (pathOf (files[i]) + ": the file exists; --overwrite replaces it");
            else
                replacedFiles.push_back (files[i]);
        }

        const auto ancestor = existingAncestor (request.outFolder);
        if (! ancestor.isDirectory())
            problems.insert (0, pathOf (request.outFolder) + ": " + pathOf (ancestor) + " is not a folder");
        else if (! ancestor.hasWriteAccess())
            problems.insert (
                0, pathOf (request.outFolder) + ": writing to " + pathOf (ancestor) + " is not permitted");

        for (const auto& problem : problems)
            tell (problem);
        return problems.isEmpty() || end (exitCode::outputFailed);
    }

    bool checkRoom()
    {
        ProcessForecast forecast;
        forecast.analysis = forecastAnalyse (session, analyseOptions(), request.temporaryFolder);
        forecast.outputFree =
            freeBytesOf (request.outFolder).value_or (std::numeric_limits<std::uint64_t>::max());

        const auto type = exportFileTypeFor (request.extension);
        for (std::size_t i = 0; i < session.size(); ++i)
        {
            const auto& track = session[i];
            const auto length = static_cast<std::uint64_t> (track.lengthInSamples);
            const auto format = exportSampleFormatFor (track.bitsPerSample, track.isFloatingPoint, type);
            if (! report.tracks[i].isSourceItself)
                forecast.outputNeeded += length * static_cast<std::uint64_t> (format.bitsPerSample / 8);
            if (request.components && track.takesPart())
                forecast.outputNeeded += length * method::numComponents * sizeof (float);
        }
        report.forecast = forecast;

        auto outcome = checkDataFiles (context.resourceFolder);
        if (outcome.wasOk())
            outcome = forecast.analysis.check();
        if (outcome.failed())
            return fail (exitCode::analysisFailed, outcome.getErrorMessage());

        const bool shared = areOnOneFileSystem (request.outFolder, request.temporaryFolder);
        const auto needed = forecast.outputNeeded + (shared ? forecast.analysis.diskNeeded : 0);
        if (needed > forecast.outputFree)
            return fail (exitCode::outputFailed,
                         pathOf (request.outFolder) + ": " + describeBytes (needed) + " are needed"
                             + (shared ? ", temporary data included" : "") + ", "
                             + describeBytes (forecast.outputFree) + " are free");
        return true;
    }

    bool readTracks()
    {
        const auto start = secondsNow();
        const auto opened = TemporaryStore::open (request.temporaryFolder, store);
        if (opened.failed())
            return fail (exitCode::analysisFailed, opened.getErrorMessage());

        std::vector<SessionTrack> readSession;
        std::vector<ReportedTrack> readReports;
        double done = 0.0;
        progress.beginStage ("Reading");

        for (const auto& checked : checkedFiles)
        {
            if (stopRequested())
                return interrupted();

            auto watch = control();
            const auto numFiles = static_cast<double> (checkedFiles.size());
            watch.setProgress = [&] (double fraction)
            { progress.setProgress ((done + fraction) / numFiles); };
            auto outcome = importFile (checked.file, sampleRate, warnings, store.get(), watch);
            done += 1.0;

            if (outcome.intake.cancelled)
                return interrupted();
            if (outcome.intake.storageFailed)
                return fail (exitCode::analysisFailed, outcome.intake.reason);
            if (! outcome.intake.accepted() || outcome.tracks.size() != checked.numTracks)
            {
                refuse (checked.file.getFullPathName(),
                        outcome.intake.code,
                        outcome.intake.accepted()
                            ? pathOf (checked.file) + ": the file changed while it was read"
                            : outcome.intake.reason);
                progress.beginStage ("Reading");
                continue;
            }

            for (std::size_t i = 0; i < checked.numTracks; ++i)
            {
                auto& track = outcome.tracks[i];
                const auto& decided = session[checked.firstTrack + i];
                track.drumType = decided.drumType;
                track.excluded = decided.excluded;
                track.setting = decided.setting;
                readSession.push_back (std::move (track));

                readReports.push_back (report.tracks[checked.firstTrack + i]);
                readReports.back().nonFiniteSamples = outcome.intake.tracks[i].nonFiniteSamples;
            }
            addNotes (outcome.intake.notes);
        }

        session = std::move (readSession);
        report.tracks = std::move (readReports);
        report.readingSeconds = secondsNow() - start;

        if (session.empty())
            return fail (exitCode::inputRefused, "there is no usable audio file");
        return true;
    }

    bool analyse()
    {
        // The data files and the spectra take next to no time; the first tenth of the progress says nothing yet.
        constexpr double cheapFraction = 0.1;
        const auto start = secondsNow();
        progress.beginStage ("Analysing", cheapFraction);
        const auto outcome = analyseSession (session, analyseOptions(), *store, control());
        report.analysisSeconds = secondsNow() - start;

        if (outcome.status == AnalyseStatus::completed)
        {
            for (auto& track : session)
                if (track.setting.focus == suggestedValue)
                    track.setting.focus = static_cast<float> (track.analysis.suggestedFocus.value_or (0.0));
            return true;
        }
        if (outcome.status == AnalyseStatus::stopped)
            return interrupted();

        auto text = outcome.message;
        if (outcome.reason.isNotEmpty() && outcome.reason != text)
            text << (text.isEmpty() ? "" : " (") << printable (outcome.reason) << (text.isEmpty() ? "" : ")");
        return fail (outcome.status == AnalyseStatus::refused ? exitCode::inputRefused
                                                              : exitCode::analysisFailed,
                     text);
    }

    void write()
    {
        const auto start = secondsNow();
        const bool folderExisted = request.outFolder.isDirectory();

        progress.beginStage ("Writing");
        const auto written = exportTracks (session, exportOptions(), control());
        ExportReport components;
        if (request.components && ! written.stopped)
        {
            progress.beginStage ("Components");
            components = exportComponents (session, exportOptions(), control());
        }
        progress.finish();
        report.writingSeconds = secondsNow() - start;
        report.log = written.log;
        report.log.addArray (components.log);

        if (written.stopped || components.stopped)
        {
            removeNewFiles (written, components, folderExisted);
            interrupted();
            return;
        }

        int numWritten = 0, numFailed = 0;
        for (std::size_t i = 0; i < session.size(); ++i)
        {
            auto& reported = report.tracks[i];
            reported.output = written.tracks[i];
            if (written.tracks[i].written)
            {
                reported.outputFile = written.tracks[i].file;
                ++numWritten;
            }
            else if (! reported.isSourceItself)
            {
                tell (written.tracks[i].error);
                ++numFailed;
            }
        }
        for (const auto& error : components.errors)
        {
            tell (error);
            ++numFailed;
        }
        report.componentFiles = components.componentFiles;

        if (numFailed > 0)
            report.exitCode = numWritten == 0 ? exitCode::outputFailed : exitCode::someFailed;
        else
            report.exitCode = report.refused.empty() ? exitCode::done : exitCode::someFailed;
    }

    /** An interrupted run leaves nothing it made; only what took the place of an older file has to stay. */
    void removeNewFiles (const ExportReport& written, const ExportReport& components, bool folderExisted)
    {
        std::vector<juce::File> files = components.componentFiles;
        for (const auto& track : written.tracks)
            if (track.written)
                files.push_back (track.file);

        for (const auto& file : files)
            if (std::find (replacedFiles.begin(), replacedFiles.end(), file) == replacedFiles.end())
                file.deleteFile();
        if (! folderExisted
            && request.outFolder.getNumberOfChildFiles (juce::File::findFilesAndDirectories) == 0)
            request.outFolder.deleteFile();
    }

    /** What the user should look at, or listen to. */
    void collectHints()
    {
        juce::StringArray untold, faint, withoutDrum;
        for (std::size_t i = 0; i < session.size(); ++i)
        {
            const auto& reported = report.tracks[i];
            if (! session[i].excluded && reported.typeOrigin == TypeOrigin::fallback)
                untold.addIfNotAlreadyThere (session[i].name);
            if (session[i].hasProcessedOutput() && session[i].analysis.suggestedFocus == 0.0)
                withoutDrum.add ("\"" + printable (session[i].name) + "\"");
            if (reported.output.has_value() && reported.output->written
                && reported.output->removedDb < faintDb)
                faint.add ("\"" + printable (session[i].name) + "\"");
        }

        if (! untold.isEmpty())
        {
            auto names = untold;
            for (auto& name : names)
                name = "\"" + printable (name) + "\"";
            report.hints.add (
                "The name of " + names.joinIntoString (", ")
                + " tells no drum: type Other, passed through unchanged. To say what it is, use --type "
                + shellQuoted (untold[0] + "=snare"));
        }
        if (! withoutDrum.isEmpty())
            report.hints.add (
                withoutDrum.joinIntoString (", ")
                + ": its own drum hardly plays, or most of the track would go. The suggestion is to "
                  "leave it as it is.");
        if (! faint.isEmpty())
            report.hints.add (
                "Hardly anything is left of " + faint.joinIntoString (", ")
                + ": the drum itself may be gone. Listen to it; a lower --focus or another --seed may "
                  "keep it.");
    }

    void collectWarnings()
    {
        warnings.show (
            [this] (const ImportWarnings::Warning& warning)
            {
                auto collected = warning;
                collected.entries.removeEmptyStrings();
                report.warnings.push_back (collected);
                return false;
            });
    }

    int print()
    {
        for (std::size_t i = 0; i < session.size(); ++i)
            report.tracks[i].track = session[i];

        if (request.json)
            context.out << reportToJson (report, request).dump (2) << "\n";
        else if (! request.quiet || request.dryRun)
            context.out << formatReport (report, request);
        context.out.flush();

        if (! context.out.good())
        {
            context.tellError ("standard output can't be written");
            return report.exitCode == exitCode::done ? exitCode::outputFailed : report.exitCode;
        }
        return report.exitCode;
    }

    const ProcessRequest& request;
    const CommandContext& context;
    ProgressDisplay progress;

    std::unique_ptr<TemporaryStore> store; // outlives the tracks, whose audio lies in it
    ImportWarnings warnings;
    double sampleRate = 0.0; // of the Group; 0 until a file is accepted
    juce::StringArray inputNames;
    std::vector<CheckedFile> checkedFiles;
    std::vector<juce::File> replacedFiles; // existed before, and may be replaced
    std::vector<SessionTrack> session;     // parallel to report.tracks
    ProcessReport report;
};
} // namespace

int runProcess (const ProcessRequest& request, const CommandContext& context)
{
    return ProcessRun (request, context).run();
}

} // namespace tessivar
