#include "cli/GroupRunSteps.h"

#include "cli/Arguments.h"
#include "jobs/AnalysisRequest.h"
#include "model/Abbreviations.h"
#include "model/audiofile/AudioIntake.h"
#include "model/groupfile/GroupFileLoading.h"
#include "platform/AtomicFile.h"
#include "platform/DiskNames.h"
#include "platform/FileStatus.h"
#include "platform/Folders.h"
#include "terms/AnalysisMethod.h"
#include "terms/ChannelLayout.h"
#include "terms/KnobValues.h"

#include <limits>

namespace tessivar
{

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
    group.method = request.method.value_or (group.method);
    groupFile = std::move (loaded.file);
    rules.protect (group, request.groupFile);
    rulesOfWriting.protect (group, request.groupFile);
    addNotes (loaded.notes);

    if (! request.analyses() && ! group.analysis)
        return fail (exitCode::inputRefused, pathOf (request.groupFile) + ": The group is not analyzed.");

    if (! request.analyses() && group.changedSinceAnalysis())
        addNotes ({ "The Group has changed since its last analysis, which is what is exported." });

    inputNames = namesOf (group);

    if (! dropOtherTracks())
        return false;

    for (auto& track : group.tracks)
    {
        if (request.setting)
            track.record.select (*request.setting);

        report.tracks.push_back (
            { .name = track.name, .knobs = track.soundingKnobs(), .typeOrigin = TypeOrigin::group });
    }

    if (group.tracks.empty())
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
                   { return ! matchesAny (track.name, request.onlyTracks); });
    return true;
}

bool GroupRun::checkFiles()
{
    const auto inputs = collectInputFiles (request.inputs);
    group.method = request.method.value_or (usualMethod);

    for (const auto& bad : inputs.bad)
        refuse (bad.argument, {}, bad.reason);

    for (const auto& file : inputs.files)
    {
        if (stopRequested())
            return interrupted();

        inputNames.add (file.getFileNameWithoutExtension());
        auto intake = importFile (file, group.sampleRate(), warnings, nullptr, control());

        // A dry run decodes here what a run decodes later, to find damage behind the header.
        if (request.dryRun && intake.accepted())
        {
            IntakeSink sink;
            intake =
                intakeFile (file, group.sampleRate(), warnings, &sink, { context.stopRequested, nullptr });
        }

        if (intake.outcome.wasStopped())
            return interrupted();
        if (! intake.accepted())
        {
            refuse (file.getFullPathName(), intake.code, intake.outcome.reason);
            continue;
        }

        checkedFiles.push_back ({ file, group.tracks.size(), intake.tracks.size() });
        for (auto& track : intake.tracks)
        {
            group.tracks.push_back (std::move (track.state));
            group.tracks.back().id = static_cast<std::uint32_t> (group.tracks.size());
            report.tracks.push_back ({ .name = readablePath (file.getFileNameWithoutExtension()),
                                       .knobs = startKnobsA,
                                       .typeOrigin = originOf (intake.guess),
                                       .guess = intake.guess });
        }
        addNotes (intake.notes);
    }

    if (group.tracks.empty())
        return fail (exitCode::inputRefused, "there is no usable audio file");

    checkBatch ({}, group.tracks, warnings);
    return true;
}

bool GroupRun::applyChoices()
{
    // Names of refused files count too: a damaged file does not make its options wrong.
    for (const auto& [option, patterns] : { std::pair{ "--focus", request.focus.perTrack.patterns() },
                                            std::pair{ "--fine", request.fine.perTrack.patterns() },
                                            std::pair{ "--type", request.types.patterns() },
                                            std::pair{ "--exclude", request.excluded } })
    {
        const auto outcome = checkPatterns (option, patterns, inputNames);
        if (outcome.failed())
            return fail (exitCode::usage, outcome.getErrorMessage());
    }

    for (std::size_t i = 0; i < group.tracks.size(); ++i)
    {
        auto& track = group.tracks[i];
        auto& reported = report.tracks[i];

        track.excluded = track.excluded || matchesAny (reported.name, request.excluded);
        if (const auto type = request.types.valueFor (reported.name))
        {
            if (track.drumType() != *type)
                track.record.setDrumType (*type);
            track.typeUnknown = false;
            reported.typeOrigin = TypeOrigin::given;
        }
    }

    for (std::size_t i = 0; i < group.tracks.size(); ++i)
    {
        const auto& track = group.tracks[i];
        const auto& reported = report.tracks[i];
        applyKnobs (i);

        if (reported.knobs.focus == suggestedValue && ! canSuggest (track))
            return fail (exitCode::usage,
                         "--focus suggested: only the refined method suggests a value; \""
                             + printable (reported.name) + "\" was not analyzed by it");
    }

    if (! request.analyses())
    {
        for (std::size_t i = 0; i < group.tracks.size(); ++i)
        {
            auto& focus = report.tracks[i].knobs.focus;

            if (focus == suggestedValue)
                focus = static_cast<float> (group.tracks[i].findings.suggestedFocus.value_or (0.0));

            turnKnobs (group.tracks[i], i);
        }

        return true;
    }

    const auto contents = GroupContents::of (group);

    if (contents.numActiveTracks > largeGroupTracks)
        warnings.add ({}, ImportWarnings::largeGroup);

    const auto check = checkContents (contents);
    return check.isOk() || fail (exitCode::inputRefused, check.reason);
}

void GroupRun::applyKnobs (std::size_t index)
{
    const auto& track = group.tracks[index];
    auto& reported = report.tracks[index];
    const auto takesSuggestion = request.analyses() && method() == AnalysisMethod::refined
                                 && track.takesPart() && ! track.knobsTouched
                                 && track.record.selected() == KnobSetting::a;

    if (takesSuggestion)
        reported.knobs.focus = suggestedValue;

    const auto focus = request.focus.valueFor (reported.name).value_or (reported.knobs.focus);
    const auto hasFallenBack = request.analyses() && method() != group.method;

    // A single microphone gets no suggestion; its knob stays where it is.
    if (focus != suggestedValue || ! hasFallenBack)
        reported.knobs.focus = focus;

    reported.knobs.fine = request.fine.valueFor (reported.name).value_or (reported.knobs.fine);
}

bool GroupRun::canSuggest (const TrackState& track) const
{
    if (request.analyses())
        return group.method == AnalysisMethod::refined;

    return method() == AnalysisMethod::refined
           && (! track.hasProcessedOutput() || track.findings.suggestedFocus.has_value());
}

bool GroupRun::planOutput()
{
    if (! request.writesAudio())
        return true;

    const auto when = request.analyses() ? PlannedFor::tracksOnceAnalysed : PlannedFor::tracksAsTheyAre;
    const auto files = planExport (group.tracks, exportOptions(), when);

    juce::StringArray problems;
    for (std::size_t i = 0; i < files.size(); ++i)
    {
        const auto& track = group.tracks[i];
        const auto isProcessed = request.analyses() ? track.takesPart() : track.hasProcessedOutput();
        auto& reported = report.tracks[i];
        reported.outputFile = files[i].file;
        reported.isSourceItself = ! isProcessed && isSameFile (reported.outputFile, track.sourceInfo.file);
        if (! reported.isSourceItself)
            problems.add (claim (reported.outputFile));
    }

    if (request.components)
        for (const auto& file : planComponents (group.tracks, exportOptions(), when))
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

    if (! claimOrFail (request.saveFile, request.groupFile))
        return false;

    const auto outcome = checkGroupTarget (request.saveFile, groupFile.get());
    return outcome.wasOk() || fail (exitCode::outputFailed, outcome.getErrorMessage());
}

bool GroupRun::planReport()
{
    return ! request.reports() || claimOrFail (request.reportFile);
}

bool GroupRun::claimOrFail (const juce::File& file, const juce::File& ownFile)
{
    if (file.isDirectory())
        return fail (exitCode::outputFailed, pathOf (file) + ": a folder has this name");

    for (const auto& outcome : { rules.claimFile (file, request.overwrite, ownFile), checkTarget (file) })
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
    {
        auto options = analysisOptions();
        forecast.analysis = forecastWork (group, options, request.temporaryFolder, keeping());
        options.method = otherMethod (options.method);
        forecast.otherMethod = forecastWork (group, options, request.temporaryFolder, keeping());
    }

    const auto target = request.writesAudio() ? request.outFolder : request.saveFile.getParentDirectory();
    forecast.outputFree = freeBytesOf (target).value_or (std::numeric_limits<std::uint64_t>::max());

    const auto type = exportFileTypeFor (request.extension);
    for (std::size_t i = 0; i < group.tracks.size(); ++i)
    {
        const auto& track = group.tracks[i];
        const auto length = static_cast<std::uint64_t> (track.lengthInSamples());
        const auto format = exportSampleFormatFor (
            track.sourceInfo.bitsPerSample, track.sourceInfo.isFloatingPoint, type, request.depth);
        if (request.writesAudio() && ! report.tracks[i].isSourceItself)
            forecast.outputNeeded += length * static_cast<std::uint64_t> (format.bitsPerSample / 8);
        if (request.components && track.takesPart())
            forecast.outputNeeded += length * channelLayout::numComponents * sizeof (float);
        if (request.saves() && areOnOneVolume (request.saveFile.getParentDirectory(), target))
            forecast.outputNeeded +=
                length * sizeof (float)
                * static_cast<std::uint64_t> (track.takesPart() ? channelLayout::numRendered
                                                                : channelLayout::numUnrendered);
    }
    report.forecast = forecast;

    if (request.analyses())
        if (const auto check = forecast.analysis.check(); ! check.isOk())
        {
            const auto isOtherFine =
                method() == AnalysisMethod::refined && forecast.otherMethod.check().isOk();
            return fail (exitCode::analysisFailed,
                         check.reason + (isOtherFine ? "; there is enough for --method standard" : ""));
        }

    const bool shared = areOnOneVolume (target, request.temporaryFolder);
    const auto needed = forecast.outputNeeded + (shared ? forecast.analysis.diskNeeded : 0);
    if (needed > forecast.outputFree)
        return fail (exitCode::outputFailed,
                     pathOf (target) + ": " + describeBytes (needed) + " are needed"
                         + (shared ? ", temporary data included" : "") + ", "
                         + describeBytes (forecast.outputFree) + " are free");
    return true;
}

} // namespace tessivar
