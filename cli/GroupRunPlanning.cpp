#include "cli/GroupRunSteps.h"

#include "cli/InputFiles.h"
#include "jobs/AnalysisRequest.h"
#include "jobs/SystemResources.h"
#include "model/Abbreviations.h"
#include "model/AtomicFile.h"
#include "model/DiskNames.h"
#include "model/FileLock.h"
#include "model/audiofile/AudioIntake.h"
#include "model/groupfile/GroupFileLoading.h"
#include "terms/AnalysisMethod.h"
#include "terms/ChannelLayout.h"
#include "terms/KnobValues.h"

#include <sys/stat.h>

#include <algorithm>
#include <limits>

namespace tessivar
{

namespace
{
bool areOnOneFileSystem (const juce::File& a, const juce::File& b)
{
    struct stat statusA = {}, statusB = {};
    return stat (bytesOfPath (existingAncestor (a)).c_str(), &statusA) == 0
           && stat (bytesOfPath (existingAncestor (b)).c_str(), &statusB) == 0
           && statusA.st_dev == statusB.st_dev;
}
} // namespace

bool GroupRun::loadGroup()
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
    rules.protect (group, request.groupFile);
    rulesOfWriting.protect (group, request.groupFile);
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
            session.back().setting = track.record.knobs (*request.setting);

        ReportedTrack reported;
        reported.typeOrigin = TypeOrigin::group;
        report.tracks.push_back (reported);
    }

    if (session.empty())
        return fail (exitCode::inputRefused, pathOf (request.groupFile) + ": There are no tracks to export.");

    return true;
}

bool GroupRun::dropOtherTracks()
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

bool GroupRun::checkFiles()
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
        const auto rate = outcome.tracks.empty() ? sampleRate : outcome.tracks.front().sampleRate;

        // A run finds out what is damaged behind the header while it reads the file in.
        if (request.dryRun && outcome.intake.accepted())
        {
            IntakeSink sink;
            outcome.intake =
                intakeFile (file, sampleRate, warnings, &sink, { context.stopRequested, nullptr });
        }

        sampleRate = rate;
        if (outcome.intake.cancelled)
            return interrupted();
        if (! outcome.intake.accepted())
        {
            refuse (file.getFullPathName(), outcome.intake.code, outcome.intake.reason);
            continue;
        }

        checkedFiles.push_back ({ file, session.size(), outcome.tracks.size() });
        for (std::size_t i = 0; i < outcome.tracks.size(); ++i)
        {
            const auto& intake = outcome.intake.tracks[i];
            session.push_back (outcome.tracks[i]);
            batch.push_back (intake);

            ReportedTrack reported;
            reported.guess = classifyTrackFile (intake.file.getFullPathName());
            reported.typeOrigin = originOf (reported.guess);
            report.tracks.push_back (reported);
        }
        addNotes (outcome.intake.notes);
    }

    if (session.empty())
        return fail (exitCode::inputRefused, "there is no usable audio file");

    checkBatch ({}, batch, warnings);
    return true;
}

bool GroupRun::applyChoices()
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

        for (const auto& pattern : request.excluded)
            track.excluded = track.excluded || matchesPattern (track.name, pattern);
        if (const auto type = request.types.valueFor (track.name))
        {
            track.drumType = *type;
            report.tracks[i].typeOrigin = TypeOrigin::given;
        }

        applyKnobs (i);
        if (track.setting.focus == suggestedValue && ! canSuggest (track))
            return fail (exitCode::usage,
                         "--focus suggested: only the refined method suggests a value; \""
                             + printable (track.name) + "\" was not analysed by it");

        numActive += track.excluded ? 0 : 1;
    }

    if (! request.analyses())
    {
        for (auto& track : session)
            if (track.setting.focus == suggestedValue)
                track.setting.focus =
                    static_cast<float> (track.analysis.findings.suggestedFocus.value_or (0.0));

        return true;
    }

    if (numActive > largeGroupTracks)
        warnings.add ({}, ImportWarnings::largeGroup);

    const auto refusal = analysisRefusal (session);
    if (refusal.isNotEmpty())
        return fail (exitCode::inputRefused, refusal);
    return true;
}

void GroupRun::applyKnobs (std::size_t index)
{
    auto& track = session[index];
    const auto isNew = ! request.isFromGroupFile();

    if (isNew)
        track.setting = startKnobsA;

    const auto takesSuggestion = request.analyses() && method() == AnalysisMethod::refined
                                 && track.takesPart()
                                 && (isNew
                                     || (! group.tracks[index].knobsTouched
                                         && group.tracks[index].record.selected() == KnobSetting::a));

    if (takesSuggestion)
        track.setting.focus = suggestedValue;

    track.setting.focus = request.focus.valueFor (track.name).value_or (track.setting.focus);
    track.setting.fine = request.fine.valueFor (track.name).value_or (track.setting.fine);
}

bool GroupRun::canSuggest (const SessionTrack& track) const
{
    return method() == AnalysisMethod::refined
           && (request.analyses() || ! track.hasProcessedOutput()
               || track.analysis.findings.suggestedFocus.has_value());
}

bool GroupRun::planOutput()
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
        if (! reported.isSourceItself)
            problems.add (claim (files[i]));
    }

    std::erase_if (planned, [] (const SessionTrack& track) { return ! track.processed; });
    if (request.components)
        for (const auto& file : planComponents (planned, exportOptions()))
            problems.add (claim (file));
    problems.removeEmptyStrings();

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

juce::String GroupRun::claim (const juce::File& file)
{
    if (file.isDirectory())
        return pathOf (file) + ": a folder has this name";

    const auto existed = file.existsAsFile();
    if (const auto claimed = rules.claimFile (file, request.overwrite); claimed.failed())
        return printable (claimed.getErrorMessage());

    if (existed)
        replacedFiles.push_back (file);
    return {};
}

bool GroupRun::planSave()
{
    if (! request.saves())
        return true;

    const auto& file = request.saveFile;

    if (file.isDirectory())
        return fail (exitCode::outputFailed, pathOf (file) + ": a folder has this name");

    for (const auto& outcome : { rules.claimFile (file, request.overwrite, request.groupFile),
                                 checkTarget (file),
                                 checkGroupTarget (file, groupFile.get()) })
        if (outcome.failed())
            return fail (exitCode::outputFailed, outcome.getErrorMessage());

    const auto ancestor = existingAncestor (file.getParentDirectory());

    if (! ancestor.isDirectory() || ! ancestor.hasWriteAccess())
        return fail (exitCode::outputFailed,
                     pathOf (file) + ": writing to " + pathOf (ancestor) + " is not permitted");

    return true;
}

bool GroupRun::checkRoom()
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
            forecast.outputNeeded += length * channelLayout::numComponents * sizeof (float);
        if (request.saves() && areOnOneFileSystem (request.saveFile.getParentDirectory(), target))
            forecast.outputNeeded +=
                length * sizeof (float)
                * static_cast<std::uint64_t> (track.takesPart() ? channelLayout::numRendered
                                                                : channelLayout::numUnrendered);
    }
    report.forecast = forecast;

    if (request.analyses())
        if (const auto outcome = forecast.analysis.check(); outcome.failed())
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

} // namespace tessivar
