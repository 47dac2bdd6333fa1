#include "cli/GroupRunSteps.h"
#include "model/DiskNames.h"

#include "model/UserFolders.h"
#include "model/WritingNote.h"
#include "terms/KnobValues.h"

#include <ostream>

namespace tessivar
{

void GroupRun::turnKnobs (TrackState& track, KnobValues wanted)
{
    const auto setting = track.record.selected();
    const auto before = track.record.knobs (setting);
    KnobValues values{ wanted.focus, wanted.fine };

    if (wanted.focus == suggestedValue)
        values.focus = static_cast<float> (track.findings.suggestedFocus.value_or (before.focus));

    if (values != before)
        track.record.setKnobs (setting, values);
}

bool GroupRun::readTracks()
{
    if (! request.analyses())
        return true;

    const auto start = secondsNow();
    WritingNote::sweep (UserFolders::ofUser().writing());
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
        watch.setProgress = [&] (double fraction) { progress.setProgress ((done + fraction) / numFiles); };
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
                    outcome.intake.accepted() ? pathOf (checked.file) + ": the file changed while it was read"
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

void GroupRun::prepareGroup()
{
    if (! request.isFromGroupFile())
    {
        group.name =
            readablePath (request.saves() ? request.saveFile.getFileNameWithoutExtension()
                                          : session.front().sourceFile.getParentDirectory().getFileName());

        for (const auto& track : session)
        {
            group.tracks.push_back (trackStateOf (track));
            group.tracks.back().id = static_cast<std::uint32_t> (group.tracks.size());
        }
    }

    group.method = method();

    for (std::size_t i = 0; i < session.size(); ++i)
    {
        auto& track = group.tracks[i];
        track.excluded = session[i].excluded;

        if (track.drumType() != session[i].drumType)
            track.record.setDrumType (session[i].drumType);

        turnKnobs (track, session[i].setting);

        // Setting A at the suggestion is where the analysis itself puts it.
        const auto focus = request.focus.valueFor (session[i].name);
        const auto isOwn = focus && (focus != suggestedValue || track.record.selected() == KnobSetting::b);
        track.knobsTouched = track.knobsTouched || isOwn || request.fine.valueFor (session[i].name);
    }
}

void GroupRun::tellDiagnostic (const juce::String& line)
{
    // What was read is told on standard output, where that is no document. What was not concerns everybody.
    const auto isTrouble = ! line.startsWith ("Read ");

    if (request.quiet && ! isTrouble)
        return;

    progress.clear();
    auto& output = request.json || request.quiet ? context.diagnostics : context.out;
    output << printable (line) << std::endl;
}

bool GroupRun::analyse()
{
    if (! request.analyses())
        return true;

    // The data files and the spectra take next to no time; the first tenth of the progress says nothing yet.
    constexpr double cheapFraction = 0.1;
    const auto start = secondsNow();
    progress.beginStage ("Analysing", cheapFraction);
    prepareGroup();
    auto options = analyseOptions();
    options.diagnostics = [this] (const juce::String& line) { tellDiagnostic (line); };
    const auto result = analyseGroup (group, options, *store, control());
    const auto& outcome = result.outcome;
    report.analysisSeconds = secondsNow() - start;

    if (outcome.status == AnalyseStatus::completed)
    {
        applyAnalysis (group, result);
        adoptAnalysis();
        addNotes (outcome.notes);
        return true;
    }
    if (outcome.status == AnalyseStatus::stopped)
        return interrupted();

    auto text = outcome.message;
    if (outcome.reason.isNotEmpty() && outcome.reason != text)
        text << (text.isEmpty() ? "" : " (") << printable (outcome.reason) << (text.isEmpty() ? "" : ")");
    return fail (outcome.status == AnalyseStatus::refused ? exitCode::inputRefused : exitCode::analysisFailed,
                 text);
}

void GroupRun::adoptAnalysis()
{
    for (std::size_t i = 0; i < session.size(); ++i)
    {
        const auto name = session[i].name;
        turnKnobs (group.tracks[i], session[i].setting);
        session[i] = sessionTrackOf (group.tracks[i]);
        session[i].name = name;
    }
}

} // namespace tessivar
