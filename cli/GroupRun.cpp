#include "cli/GroupRun.h"

#include "cli/InputFiles.h"
#include "cli/ProcessReport.h"
#include "cli/ProgressDisplay.h"
#include "cli/TerminalText.h"
#include "jobs/AnalyseGroup.h"
#include "jobs/AnalysisRequest.h"
#include "jobs/GroupTracks.h"
#include "jobs/ImportTracks.h"
#include "jobs/SelfTest.h"
#include "jobs/SystemResources.h"
#include "model/Abbreviations.h"
#include "model/AudioIntake.h"
#include "model/groupfile/GroupFileLoading.h"
#include "model/groupfile/GroupFileSaving.h"

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

/** One run over a Group, step after step. A step that returns false ends the run with the exit code it set. */
class GroupRun
{
public:
    GroupRun (const ProcessRequest& requestToUse, const CommandContext& contextToUse)
        : request (requestToUse), context (contextToUse),
          progress (contextToUse.diagnostics, progressStyle(), secondsNow)
    {
    }

    ProcessReport run()
    {
        const auto start = secondsNow();
        const bool ready = (request.isFromGroupFile() ? loadGroup() : checkFiles()) && applyChoices()
                           && planOutput() && planSave() && checkRoom();

        if (ready && ! request.dryRun && readTracks() && analyse() && write())
            save();

        progress.finish();
        report.totalSeconds = secondsNow() - start;
        collectWarnings();

        for (std::size_t i = 0; i < session.size(); ++i)
            report.tracks[i].track = session[i];

        report.method = method();
        report.hints = hintsFor (report);
        return std::move (report);
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
                 .method = method(),
                 .keepAllComponents = request.components };
    }

    /** How the Group is analysed, or was. */
    [[nodiscard]] AnalysisMethod method() const
    {
        if (! request.analyses() && group.analysis)
            return analysisMethodOf (group.analysis->method);

        return request.method.value_or (analysisMethodOf (group.method));
    }

    /** Opens a group file in place of looking at audio files. */
    bool loadGroup()
    {
        LoadedGroup loaded;
        const auto outcome = openGroupFile (request.groupFile, loaded);

        if (outcome.failed())
        {
            refuse (request.groupFile.getFullPathName(), {}, outcome.getErrorMessage());
            return end (exitCode::inputRefused);
        }

        group = std::move (loaded.state);
        groupFile = std::move (loaded.file);
        addNotes (loaded.notes);

        if (! request.analyses() && ! group.analysis)
            return fail (exitCode::inputRefused, pathOf (request.groupFile) + ": The group is not analyzed.");

        if (! request.analyses() && group.changedSinceAnalysis())
            addNotes ({ "The Group has changed since its last analysis, which is what is exported." });

        for (const auto& track : group.tracks)
            inputNames.add (track.name);

        if (! dropOtherTracks())
            return false;

        for (const auto& track : group.tracks)
        {
            session.push_back (sessionTrackOf (track));

            if (request.setting)
                session.back().setting = settingOf (track.record.knobs (*request.setting));

            ReportedTrack reported;
            reported.typeOrigin = TypeOrigin::group;
            report.tracks.push_back (reported);
        }

        if (session.empty())
            return fail (exitCode::inputRefused,
                         pathOf (request.groupFile) + ": There are no tracks to export.");

        return true;
    }

    [[nodiscard]] static SuppressionSetting settingOf (KnobValues knobs)
    {
        return { knobs.focus, knobs.fine };
    }

    /** Leaves only the tracks that were asked for by name. */
    bool dropOtherTracks()
    {
        if (request.onlyTracks.isEmpty())
            return true;

        const auto outcome = checkPatterns ("--track", request.onlyTracks, inputNames);

        if (outcome.failed())
            return fail (exitCode::usage, outcome.getErrorMessage());

        std::erase_if (group.tracks,
                       [this] (const TrackState& track)
                       {
                           return std::none_of (request.onlyTracks.begin(),
                                                request.onlyTracks.end(),
                                                [&] (const juce::String& pattern)
                                                { return matchesPattern (track.name, pattern); });
                       });
        return true;
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
            applyKnobs (track);

            for (const auto& pattern : request.excluded)
                track.excluded = track.excluded || matchesPattern (track.name, pattern);
            if (const auto type = request.types.valueFor (track.name))
            {
                track.drumType = *type;
                report.tracks[i].typeOrigin = TypeOrigin::given;
            }
            if (track.setting.focus == suggestedValue && ! canSuggest (track))
                return fail (exitCode::usage,
                             "--focus suggested: only the refined method suggests a value; \""
                                 + printable (track.name) + "\" was not analysed by it");

            numActive += track.excluded ? 0 : 1;
        }

        if (! request.analyses())
        {
            takeSuggestions();
            return true;
        }

        if (numActive > largeGroupTracks)
            warnings.add ({}, ImportWarnings::largeGroup);

        const auto refusal = analysisRefusal (session);
        if (refusal.isNotEmpty())
            return fail (exitCode::inputRefused, refusal);
        return true;
    }

    /** What the command line says, else what a Group from a file holds, else where the knobs of the method start. */
    void applyKnobs (SessionTrack& track) const
    {
        const auto isNew = ! request.isFromGroupFile();
        const auto start = method() == AnalysisMethod::refined ? suggestedValue : defaultFocus;
        track.setting.focus =
            request.focus.valueFor (track.name).value_or (isNew ? start : track.setting.focus);
        track.setting.fine =
            request.fine.valueFor (track.name).value_or (isNew ? defaultFine : track.setting.fine);
    }

    [[nodiscard]] bool canSuggest (const SessionTrack& track) const
    {
        return method() == AnalysisMethod::refined
               && (request.analyses() || ! track.hasProcessedOutput()
                   || track.analysis.suggestedFocus.has_value());
    }

    void takeSuggestions()
    {
        for (auto& track : session)
            if (track.setting.focus == suggestedValue)
                track.setting.focus = static_cast<float> (track.analysis.suggestedFocus.value_or (0.0));
    }

    /** Names the files to be written, and refuses now what would be refused after minutes of work. */
    bool planOutput()
    {
        if (! request.writesAudio())
            return true;

        auto planned = session;
        for (auto& track : planned)
            track.processed = request.analyses() ? track.takesPart() : track.hasProcessedOutput();
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

    /** Refuses now a group file that could not be written after minutes of work. */
    bool planSave()
    {
        if (! request.saves())
            return true;

        const auto& file = request.saveFile;

        if (file.isDirectory())
            return fail (exitCode::outputFailed, pathOf (file) + ": a folder has this name");

        if (file.existsAsFile() && ! request.overwrite)
            return fail (exitCode::outputFailed,
                         pathOf (file) + ": the file exists; --overwrite replaces it");

        const auto ancestor = existingAncestor (file.getParentDirectory());

        if (! ancestor.isDirectory() || ! ancestor.hasWriteAccess())
            return fail (exitCode::outputFailed,
                         pathOf (file) + ": writing to " + pathOf (ancestor) + " is not permitted");

        return true;
    }

    bool checkRoom()
    {
        ProcessForecast forecast;

        if (request.analyses())
            forecast.analysis = forecastAnalyse (session, analyseOptions(), request.temporaryFolder);

        const auto target = request.writesAudio() ? request.outFolder : request.saveFile.getParentDirectory();
        forecast.outputFree = freeBytesOf (target).value_or (std::numeric_limits<std::uint64_t>::max());

        const auto type = exportFileTypeFor (request.extension);
        for (std::size_t i = 0; i < session.size(); ++i)
        {
            const auto& track = session[i];
            const auto length = static_cast<std::uint64_t> (track.lengthInSamples);
            const auto format = exportSampleFormatFor (track.bitsPerSample, track.isFloatingPoint, type);
            if (request.writesAudio() && ! report.tracks[i].isSourceItself)
                forecast.outputNeeded += length * static_cast<std::uint64_t> (format.bitsPerSample / 8);
            if (request.components && track.takesPart())
                forecast.outputNeeded += length * method::numComponents * sizeof (float);
            if (request.saves() && areOnOneFileSystem (request.saveFile.getParentDirectory(), target))
                forecast.outputNeeded +=
                    length * sizeof (float)
                    * static_cast<std::uint64_t> (track.takesPart() ? renderedChannels : sourceChannels);
        }
        report.forecast = forecast;

        auto outcome = request.analyses() ? checkDataFiles (context.resourceFolder) : juce::Result::ok();
        if (outcome.wasOk() && request.analyses())
            outcome = forecast.analysis.check();
        if (outcome.failed())
            return fail (exitCode::analysisFailed, outcome.getErrorMessage());

        const bool shared = areOnOneFileSystem (target, request.temporaryFolder);
        const auto needed = forecast.outputNeeded + (shared ? forecast.analysis.diskNeeded : 0);
        if (needed > forecast.outputFree)
            return fail (exitCode::outputFailed,
                         pathOf (target) + ": " + describeBytes (needed) + " are needed"
                             + (shared ? ", temporary data included" : "") + ", "
                             + describeBytes (forecast.outputFree) + " are free");
        return true;
    }

    bool readTracks()
    {
        if (! request.analyses())
            return true;

        const auto start = secondsNow();
        const auto opened = TemporaryStore::open (request.temporaryFolder, store);
        if (opened.failed())
            return fail (exitCode::analysisFailed, opened.getErrorMessage());

        if (request.isFromGroupFile())
            return true; // its audio is read from the group file itself

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

    /** The Group as it is to be analysed: as it was loaded, or made of the tracks, with what the command line says. */
    void prepareGroup()
    {
        if (! request.isFromGroupFile())
        {
            group.name = request.saves() ? request.saveFile.getFileNameWithoutExtension()
                                         : session.front().sourceFile.getParentDirectory().getFileName();

            for (const auto& track : session)
            {
                group.tracks.push_back (trackStateOf (track));
                group.tracks.back().id = static_cast<std::uint32_t> (group.tracks.size());
            }
        }

        group.method = separationMethodOf (method());

        for (std::size_t i = 0; i < session.size(); ++i)
        {
            auto& record = group.tracks[i].record;
            const auto& setting = session[i].setting;
            group.tracks[i].excluded = session[i].excluded;

            if (record.drumType() != session[i].drumType)
                record.setDrumType (session[i].drumType);

            // A knob that waits for the analysis stands where one stands that nobody turned.
            record.setKnobs (record.selected(),
                             setting.focus == suggestedValue ? startKnobsA
                                                             : KnobValues{ setting.focus, setting.fine });
        }
    }

    bool analyse()
    {
        if (! request.analyses())
            return true;

        // The data files and the spectra take next to no time; the first tenth of the progress says nothing yet.
        constexpr double cheapFraction = 0.1;
        const auto start = secondsNow();
        progress.beginStage ("Analysing", cheapFraction);
        prepareGroup();
        const auto result = analyseGroup (group, analyseOptions(), *store, control());
        const auto& outcome = result.outcome;
        report.analysisSeconds = secondsNow() - start;

        if (outcome.status == AnalyseStatus::completed)
        {
            applyAnalysis (group, result);
            adoptAnalysis();
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

    /** What the analysis gave the Group, for the export and the report. */
    void adoptAnalysis()
    {
        for (std::size_t i = 0; i < session.size(); ++i)
        {
            const auto name = session[i].name;
            const auto wanted = session[i].setting;
            session[i] = sessionTrackOf (group.tracks[i]);
            session[i].name = name;
            session[i].setting = wanted;
        }

        takeSuggestions();

        for (std::size_t i = 0; i < session.size(); ++i)
        {
            auto& record = group.tracks[i].record;
            record.setKnobs (record.selected(), { session[i].setting.focus, session[i].setting.fine });
        }
    }

    bool write()
    {
        if (! request.writesAudio())
            return true;

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
            return interrupted();
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
        return true;
    }

    void save()
    {
        if (! request.saves())
            return;

        const auto start = secondsNow();
        progress.beginStage ("Saving");
        const auto made = request.saveFile.getParentDirectory().createDirectory();
        SavedGroup saved;
        const auto outcome =
            made.failed()
                ? made
                : saveGroup ({ .state = group, .target = request.saveFile, .currentFile = groupFile },
                             saved,
                             { .shouldStop = context.stopRequested, .setProgress = [this] (double fraction) {
                                  progress.setProgress (fraction);
                              } });
        report.savingSeconds = secondsNow() - start;

        if (outcome.wasOk())
        {
            report.savedFile = request.saveFile;
            report.savedBytes = saved.bytesWritten;
            return;
        }

        if (stopRequested())
        {
            interrupted();
            return;
        }

        tell (outcome.getErrorMessage());
        const auto wroteAudio = std::any_of (report.tracks.begin(),
                                             report.tracks.end(),
                                             [] (const ReportedTrack& track)
                                             { return track.output.has_value() && track.output->written; });
        report.exitCode = wroteAudio ? exitCode::someFailed : exitCode::outputFailed;
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

    const ProcessRequest& request;
    const CommandContext& context;
    ProgressDisplay progress;

    std::unique_ptr<TemporaryStore> store; // outlives the tracks, whose audio lies in it
    GroupState group;                      // of a group file, or made for the analysis
    std::shared_ptr<GroupFile> groupFile;  // that the Group came from
    ImportWarnings warnings;
    double sampleRate = 0.0; // of the Group; 0 until a file is accepted
    juce::StringArray inputNames;
    std::vector<CheckedFile> checkedFiles;
    std::vector<juce::File> replacedFiles; // existed before, and may be replaced
    std::vector<SessionTrack> session;     // parallel to report.tracks
    ProcessReport report;
};
} // namespace

ProcessReport runGroup (const ProcessRequest& request, const CommandContext& context)
{
    return GroupRun (request, context).run();
}

} // namespace tessivar
