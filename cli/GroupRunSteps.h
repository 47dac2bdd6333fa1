#pragma once

#include "cli/CommandContext.h"
#include "cli/ProcessReport.h"
#include "cli/ProcessRequest.h"
#include "cli/ProgressDisplay.h"
#include "cli/TerminalText.h"
#include "jobs/AnalyseGroup.h"
#include "jobs/GroupTracks.h"
#include "jobs/ImportTracks.h"
#include "model/OutputRules.h"
#include "model/groupfile/GroupFile.h"
#include "terms/AnalysisMethod.h"
#include "terms/KnobValues.h"
#include "terms/WorkControl.h"

#include <chrono>
#include <memory>
#include <utility>

namespace tessivar
{

inline double secondsNow()
{
    return std::chrono::duration<double> (std::chrono::steady_clock::now().time_since_epoch()).count();
}

inline juce::String pathOf (const juce::File& file)
{
    return printable (file.getFullPathName());
}

/** One run over a Group, step after step. A step that returns false ends the run with the exit code it set. */
class GroupRun
{
public:
    GroupRun (const ProcessRequest& requestToUse,
              const CommandContext& contextToUse,
              OutputRules& rulesToUse);

    ProcessReport run();

private:
    /** A file that was accepted by its header, and the tracks it becomes: [firstTrack, firstTrack + numTracks). */
    struct CheckedFile
    {
        juce::File file;
        std::size_t firstTrack = 0;
        std::size_t numTracks = 0;
    };

    // GroupRun.cpp: ends of a run, and what the steps have in common.
    bool end (int exitCode);
    bool fail (int exitCode, const juce::String& reason);
    bool interrupted() { return fail (exitCode::interrupted, "interrupted"); }
    void tell (const juce::String& error);
    void refuse (const juce::String& file, std::optional<int> code, const juce::String& reason);
    void addNotes (const juce::StringArray& notes);
    void collectWarnings();

    [[nodiscard]] ProgressDisplay::Style progressStyle() const;
    [[nodiscard]] WorkControl control();
    [[nodiscard]] bool stopRequested() const { return context.stopRequested && context.stopRequested(); }
    [[nodiscard]] ExportOptions exportOptions() const;
    [[nodiscard]] AnalyseOptions analyseOptions() const;

    /** How the Group is analysed, or was. */
    [[nodiscard]] AnalysisMethod method() const;

    // GroupRunPlanning.cpp: everything that can be refused before the work.

    /** Opens a group file in place of looking at audio files. */
    bool loadGroup();

    /** Leaves only the tracks that were asked for by name. */
    bool dropOtherTracks();

    /** Looks at every header; what is refused here costs no time and no disk. */
    bool checkFiles();

    bool applyChoices();

    /** What the command line says, else what the analysis will suggest, where no user has turned the knobs, else what a
        Group from a file holds.
    */
    void applyKnobs (std::size_t index);

    [[nodiscard]] bool canSuggest (const SessionTrack& track) const;

    /** Names the files to be written, and refuses now what would be refused after minutes of work. */
    bool planOutput();

    /** Claims a planned file; the problem if that is refused, else empty. */
    [[nodiscard]] juce::String claim (const juce::File& file);

    /** Refuses now a group file that could not be written after minutes of work. */
    bool planSave();

    bool checkRoom();

    // GroupRunAnalysis.cpp: reading and analysing.

    bool readTracks();

    /** The Group as it is to be analysed: as it was loaded, or made of the tracks, with what the command line says. */
    void prepareGroup();

    bool analyse();

    /** Passes a line of the loading of the data files on. */
    void tellDiagnostic (const juce::String& line);

    /** What the analysis gave the Group, for the export and the report. */
    void adoptAnalysis();

    /** Turns the knobs of the sounding setting; the other setting and the selector stay. A focus of suggestedValue is
        the suggestion of the last analysis, or leaves the knob where it is when there is none.
    */
    static void turnKnobs (TrackState& track, KnobValues wanted);

    // GroupRunWriting.cpp: audio files and the group file.

    bool write();
    void save();

    /** An interrupted run leaves nothing it made; only what took the place of an older file has to stay. */
    void removeNewFiles (const ExportReport& written, const ExportReport& components, bool folderExisted);

    const ProcessRequest& request;
    const CommandContext& context;
    OutputRules& rules;         // what is planned is claimed from these
    OutputRules rulesOfWriting; // and from these once more what is written
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

} // namespace tessivar
