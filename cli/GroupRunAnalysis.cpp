#include "cli/GroupRunSteps.h"
#include "model/settings/UserFolders.h"
#include "platform/AtomicFile.h"
#include "platform/DiskNames.h"
#include "terms/KnobValues.h"

#include <ostream>

namespace tessivar
{

void GroupRun::turnKnobs (TrackState& track, std::size_t index) const
{
    const auto before = track.soundingKnobs();
    auto values = report.tracks[index].knobs;

    if (values.focus == suggestedValue)
        values.focus = static_cast<float> (track.findings.suggestedFocus.value_or (before.focus));

    if (values != before)
        track.record.setKnobs (track.record.selected(), values);
}

KnobValues GroupRun::knobsAfter (std::size_t index, const TrackFindings& findings) const
{
    auto track = group.tracks[index];
    Group::AnalysedTrack analysed;
    analysed.findings = findings;
    analysed.applyTo (track);
    turnKnobs (track, index);
    return track.soundingKnobs();
}

AnalysisKeeping GroupRun::keeping() const
{
    AnalysisKeeping result;
    result.spectra = request.spectra;

    // Nothing but the processed files is wanted.
    if (! request.saves())
        result.soundingKnobs = [this] (std::size_t index, const TrackFindings& findings)
        { return knobsAfter (index, findings); };

    return result;
}

bool GroupRun::readTracks()
{
    if (! request.analyses())
        return true;

    const auto start = secondsNow();
    WritingNote::sweep (UserFolders::ofUser().writing());
    std::unique_ptr<TemporaryStore> opened;
    if (const auto result = TemporaryStore::open (request.temporaryFolder, opened); result.failed())
        return fail (exitCode::analysisFailed, result.getErrorMessage());

    store = std::move (opened);

    if (request.isFromGroupFile())
        return true; // audio is read from the group file itself

    progress.beginStage ("Reading");
    std::vector<juce::File> files;

    for (const auto& checked : checkedFiles)
        files.push_back (checked.file);

    auto intakes = importFiles (files, group.sampleRate(), warnings, *store, request.numThreads, control());

    for (std::size_t f = 0; f < intakes.size(); ++f)
    {
        const auto& checked = checkedFiles[f];
        auto& intake = intakes[f];

        if (intake.outcome.wasStopped())
            return interrupted();
        if (intake.outcome.end == Outcome::End::noRoom)
            return fail (exitCode::analysisFailed, intake.outcome.reason);
        if (! intake.accepted() || intake.tracks.size() != checked.numTracks)
        {
            refuse (checked.file.getFullPathName(),
                    intake.code,
                    intake.accepted() ? pathOf (checked.file) + ": the file changed while it was read"
                                      : juce::String (intake.outcome.reason));
            continue;
        }

        for (std::size_t i = 0; i < checked.numTracks; ++i)
        {
            auto& read = intake.tracks[i];
            auto& track = group.tracks[checked.firstTrack + i];
            track.sourceInfo = std::move (read.state.sourceInfo);
            track.source = std::move (read.state.source);
            track.record.setLengthInSamples (read.state.lengthInSamples());
            report.tracks[checked.firstTrack + i].nonFiniteSamples = read.nonFiniteSamples;
        }
        addNotes (intake.notes);
    }

    for (auto i = group.tracks.size(); i-- > 0;)
        if (group.tracks[i].source == nullptr)
        {
            group.tracks.erase (group.tracks.begin() + static_cast<std::ptrdiff_t> (i));
            report.tracks.erase (report.tracks.begin() + static_cast<std::ptrdiff_t> (i));
        }

    report.readingSeconds = secondsNow() - start;

    if (group.tracks.empty())
        return fail (exitCode::inputRefused, "there is no usable audio file");
    return true;
}

void GroupRun::prepareGroup()
{
    if (! request.isFromGroupFile())
        group.name = readablePath (
            request.saves() ? request.saveFile.getFileNameWithoutExtension()
                            : group.tracks.front().sourceInfo.file.getParentDirectory().getFileName());

    for (std::size_t i = 0; i < group.tracks.size(); ++i)
    {
        auto& track = group.tracks[i];
        const auto& name = report.tracks[i].name;
        turnKnobs (group.tracks[i], i);

        // Following the suggestion in setting A is what an untouched knob does.
        const auto focus = request.focus.valueFor (name);
        const auto isOwn = focus && (focus != suggestedValue || track.record.selected() == KnobSetting::b);
        track.knobsTouched = track.knobsTouched || isOwn || request.fine.valueFor (name);
    }
}

void GroupRun::tellDiagnostic (std::string_view line, bool isRead)
{
    // Success is told on standard output, unless that is a document; trouble is told in any case.
    if (request.quiet && isRead)
        return;

    progress.clear();
    auto& output = request.json || request.quiet ? context.diagnostics : context.out;
    output << printable (juce::String::fromUTF8 (line.data(), static_cast<int> (line.size())).trimEnd())
           << std::endl;
}

bool GroupRun::analyse()
{
    if (! request.analyses())
        return true;

    // Data files and spectra take next to no time: the first tenth is left out of the time estimate.
    constexpr double cheapFraction = 0.1;
    const auto start = secondsNow();
    progress.beginStage ("Analyzing", cheapFraction);
    prepareGroup();
    auto options = analysisOptions();
    options.diagnostics = [this] (std::string_view line, bool isRead) { tellDiagnostic (line, isRead); };
    const auto result = analyseGroup (group, options, *store, control(), keeping());
    report.analysisSeconds = secondsNow() - start;

    if (result.outcome.wasStopped())
        return interrupted();

    if (! result.outcome.isOk())
        return fail (result.outcome.end == Outcome::End::refused ? exitCode::inputRefused
                                                                 : exitCode::analysisFailed,
                     juce::String (analysisFailedText) + " (" + printable (result.outcome.reason) + ")");

    applyAnalysis (group, result);

    for (const auto& remark : result.remarks)
        report.warnings.push_back ({ .code = remark.code, .message = remark.text, .entries = {} });

    for (std::size_t i = 0; i < group.tracks.size(); ++i)
    {
        turnKnobs (group.tracks[i], i);
        report.tracks[i].knobs = group.tracks[i].soundingKnobs();
    }

    return true;
}

} // namespace tessivar
