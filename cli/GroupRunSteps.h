#pragma once

#include "cli/CommandContext.h"
#include "cli/ProcessReport.h"
#include "cli/ProcessRequest.h"
#include "cli/ProgressDisplay.h"
#include "cli/TerminalText.h"
#include "jobs/AnalyseGroup.h"
#include "jobs/ImportTracks.h"
#include "model/OutputRules.h"
#include "model/groupfile/GroupFile.h"
#include "terms/AnalysisMethod.h"
#include "terms/KnobValues.h"
#include "terms/WorkControl.h"

#include <chrono>
#include <memory>
#include <string_view>

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

/** One run over a Group, step by step. A step that returns false ends the run with the exit code it set. */
class GroupRun
{
public:
    GroupRun (const ProcessRequest& requestToUse,
              const CommandContext& contextToUse,
              OutputRules& rulesToUse);

    ProcessReport run();

private:
    /** An accepted file, and its tracks: [firstTrack, firstTrack + numTracks). */
    struct CheckedFile
    {
        juce::File file;
        std::size_t firstTrack = 0;
        std::size_t numTracks = 0;
    };

    // GroupRun.cpp: how a run ends, and what the steps share.
    bool end (int exitCode);
    bool fail (int exitCode, const juce::String& reason);
    bool interrupted() { return fail (exitCode::interrupted, "interrupted"); }
    void tell (const juce::String& error);
    void refuse (const juce::String& file, std::optional<int> code, const juce::String& reason);
    void addNotes (const juce::StringArray& notes);
    void collectWarnings();

    [[nodiscard]] ProgressDisplay::Style progressStyle() const;
    [[nodiscard]] WorkControl control();
    [[nodiscard]] bool stopRequested() const { return context.isStopRequested(); }
    [[nodiscard]] ExportOptions exportOptions() const;
    [[nodiscard]] AnalysisOptions analysisOptions() const;
    [[nodiscard]] AnalysisKeeping keeping() const;

    /** By which the Group is, or was, analyzed: not by the refined method where that can't work, unless it
        was asked for.
    */
    [[nodiscard]] AnalysisMethod method() const;

    // GroupRunPlanning.cpp: everything that can fail before the work.

    /** Opens a group file instead of checking audio files. */
    bool loadGroup();

    /** Keeps only the tracks asked for by name. */
    bool dropOtherTracks();

    /** Checks every header: what is refused here costs neither time nor disk. */
    bool checkFiles();

    bool applyChoices();

    /** From the command line, else left to the suggestion where no user turned the knobs, else as in the
        Group.
    */
    void applyKnobs (std::size_t index);

    [[nodiscard]] bool canSuggest (const TrackState& track) const;

    /** Names the files to write, and refuses now what would otherwise fail after minutes of work. */
    bool planOutput();

    /** Claims a planned file; returns the problem, if any. */
    [[nodiscard]] juce::String claim (const juce::File& file);

    /** Refuses now a group file that could not be written later. */
    bool planSave();

    /** The same for the report. */
    bool planReport();

    /** Claims a file; tells the problem and ends the run, if there is one. ownFile: see OutputRules. */
    bool claimOrFail (const juce::File& file, const juce::File& ownFile = {});

    bool checkRoom();

    // GroupRunAnalysis.cpp: reading and analysing.

    bool readTracks();

    /** Sets the knobs, which the analysis depends on; a new Group also gets its name. */
    void prepareGroup();

    bool analyse();

    /** Prints the line that loading a data file gave. */
    void tellDiagnostic (std::string_view line, bool isRead);

    /** Turns the knobs of the sounding setting to the report's; the other setting and the selector stay. A
        focus of suggestedValue becomes the suggestion of the last analysis, if there is one.
    */
    void turnKnobs (TrackState& track, std::size_t index) const;

    /** What a track's knobs will be once an analysis has found this. */
    [[nodiscard]] KnobValues knobsAfter (std::size_t index, const TrackFindings& findings) const;

    // GroupRunWriting.cpp: audio files, the group file and the report.

    bool write();
    void save();
    void writeReportPage();

    /** What a file that failed after the audio makes of the exit code. */
    [[nodiscard]] int exitCodeAfterFailure() const;

    /** Removes what an interrupted run wrote, except files that replaced older ones. */
    void removeNewFiles (const ExportReport& written, const ExportReport& components, bool folderExisted);

    const ProcessRequest& request;
    const CommandContext& context;
    OutputRules& rules;         // planned files are claimed from these
    OutputRules rulesOfWriting; // and written files from these
    ProgressDisplay progress;

    std::shared_ptr<TemporaryStore> store; // goes with the last of the tracks, whose audio lies in it
    std::shared_ptr<GroupFile> groupFile;  // that the Group came from
    ImportWarnings warnings;
    juce::StringArray inputNames;
    std::vector<CheckedFile> checkedFiles;
    std::vector<juce::File> replacedFiles; // existed before and may be replaced
    ProcessReport report;
    GroupState& group = report.group; // of a group file, or made of the audio files
};

} // namespace tessivar
