#pragma once

#include "app/BackgroundImport.h"
#include "app/DialogPrompts.h"
#include "app/JobRunner.h"
#include "jobs/AnalysisRequest.h"
#include "jobs/ExportRequest.h"
#include "jobs/SortedInputs.h"
#include "model/OutputRules.h"
#include "model/TemporaryStore.h"
#include "model/TessivarWorkspace.h"
#include "model/groupfile/GroupFileSaving.h"
#include "terms/AnalysisMethod.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace tessivar
{

/** Opens, saves, imports, analyzes, exports and closes Groups. What takes long runs behind the progress
    dialog; what fails is told. Message thread; each function returns when all is done, but for audio files,
    which are read in the background. What needs all tracks of a Group waits for them: it starts when they are
    in.
*/
class GroupWork
{
public:
    GroupWork (TessivarWorkspace& workspace,
               JobRunner& runner,
               DialogPrompts& prompts,
               const juce::File& resourceFolder);

    Group::Ptr newGroup();

    void open (const std::vector<juce::File>& groupFiles);

    /** False if the Group is not in its file afterwards. One without a file is saved as. */
    bool save (const Group::Ptr& group);
    bool saveAs (const Group::Ptr& group);
    bool saveAll();

    /** Asks about unsaved changes first. False when the user keeps it open. */
    bool close (const Group::Ptr& group);

    /** Audio files join the target; without one they make a new Group, as each folder does; group files are
        opened, or offer their tracks to the target.
    */
    void importInputs (const std::vector<juce::File>& filesAndFolders, const Group::Ptr& target);

    /** Of audio files on their way into Groups. */
    [[nodiscard]] const BackgroundImport& imports() const { return reading; }

    /** Leaves the Group as it was before its files came; one that was made for them goes. */
    void stopReading (const Group::Ptr& group);
    void stopReadingAll();

    /** Before the program ends: asks, and stops. True when no file is on its way. */
    [[nodiscard]] bool mayStopReading();

    /** To be called when nothing is in front: tells what there is to know of files that were read, and starts
        what waited for them.
    */
    void finishImports();

    /** Whether finishImports() has something to do. */
    [[nodiscard]] bool canFinishImports() const;

    /** Whether the analysis of the Group starts as soon as its files are in. */
    [[nodiscard]] bool waitsToAnalyze (const Group& group) const;

    /** A new Group with the demo session, by the refined method. */
    void importDemo();

    /** The demo's tracks have been read; called before the listeners of the workspace are. */
    std::function<void (const Group::Ptr&)> onDemoRead;
    void importFromGroupFile (const juce::File& file, const Group::Ptr& target);

    /** The user chooses what to import or open. */
    void chooseAndOpen();
    void chooseAndImportTracks (const Group::Ptr& target);
    void chooseAndImportFolders();
    void chooseAndImportFromGroup (const Group::Ptr& target);

    /** The user chooses the file that a track came from, which is no longer where it was. */
    void chooseSource (const Group::Ptr& group, std::uint32_t trackId);

    /** For the next analysis of this Group, and for Groups to come. */
    void chooseMethod (const Group::Ptr& group, AnalysisMethod method);

    void analyze (const Group::Ptr& group);

    /** Analyzes all open Groups, past those that are refused, and ends with a summary. */
    void analyzeAll();

    void exportTrack (const Group::Ptr& group, const Track::Ptr& track);
    void exportGroups (ExportScope scope, const Group::Ptr& selected);

    /** Asks whether with audio, and for a file, and writes the page about a Group there. */
    void exportReport (const Group::Ptr& group);

    /** Shows the warnings that were collected. */
    void showPendingWarnings();

    [[nodiscard]] bool hasGroups() const { return workspace.numGroups() > 0; }

    /** Whether a job runs, or a chooser is open. */
    [[nodiscard]] bool isBusy() const { return runner.isBusy() || choosing; }

    /** Called before a Group closes, with or without its changes. */
    std::function<void (const Group::Ptr&)> onClosed;

    /** Called after a successful analysis, with remarks on it. */
    std::function<void (const Group::Ptr&, const std::vector<AnalysisRemark>&)> onAnalysed;

    /** The user wants to choose another folder for temporary files. */
    std::function<void()> onChooseTemporaryFolder;

    std::function<void (const juce::String& text, const juce::String& action, std::function<void()> onAction)>
        onNotice;

private:
    [[nodiscard]] TemporaryStore* temporaryStore();
    void offerAnotherTemporaryFolder (const juce::String& why);
    [[nodiscard]] std::vector<juce::File> choose (const struct FileChooserRequest& request);
    void openOne (const juce::File& file);
    void tellOfRejected (const SortedInputs& sorted);
    [[nodiscard]] Group::Ptr groupForFiles (const juce::String& name, AnalysisMethod method);
    void startReading (std::vector<BackgroundImport::GroupFiles> groups, bool givesAdvice = true);
    void groupIsRead (const Group::Ptr& group);
    void finishImport (ImportedTracks imported, const Group::Ptr& target);

    enum class Waiting
    {
        analysis,
        analysisOfAll,
        save,
        saveAs,
        saveAll,
        exporting,
        exportOfAll
    };

    /** Whether files of the Group, null for any, are on their way. Then this starts when they are in, which
        the user is told and can take back.
    */
    [[nodiscard]] bool waitsForFiles (Waiting what, const Group::Ptr& group, std::function<void()> start);
    [[nodiscard]] bool isReading (const Group::Ptr& group) const;
    bool saveTo (const Group::Ptr& group, const juce::File& file);

    /** Protects the files of all open Groups; one of them may be saved to its own. */
    [[nodiscard]] OutputRules outputRules (const Group* saved = nullptr) const;

    enum class SaveAnswer
    {
        save,
        saveAs,
        cancel
    };

    /** Asks what only the user can decide, and notes the answer in the request. */
    [[nodiscard]] SaveAnswer askBeforeSaving (SaveRequest& request);
    [[nodiscard]] GroupAnalysis runAnalysis (const Group::Ptr& group);
    /** Which type of files an export to a folder writes, and their depth; nothing if the user cancels. */
    [[nodiscard]] std::optional<ExportOptions> askForFileType (const juce::String& title, int numFiles);

    /** A file for a result that the user wants to be replaced, if it exists; nothing if the user cancels. */
    [[nodiscard]] std::optional<juce::File>
    chooseExportFile (const juce::String& title,
                      const juce::String& wildcard,
                      const juce::String& suggestedName,
                      const std::function<juce::File (const juce::File&)>& withExtension);
    void runExport (ExportScope scope,
                    std::vector<TrackState> tracks,
                    std::vector<PlannedFile> files,
                    const ExportOptions& options);

    /** True when the user wants what failed to be tried again. */
    [[nodiscard]] bool reportExport (const ExportReport& report,
                                     const std::vector<TrackState>& tracks,
                                     const ExportOptions& options);

    TessivarWorkspace& workspace;
    JobRunner& runner;
    DialogPrompts& prompts;
    const juce::File resources;
    ImportWarnings warnings;
    std::shared_ptr<TemporaryStore> store; // made when it is first needed
    bool choosing = false;
    std::map<const Group*, Group::Ptr> madeForFiles; // and which Group was selected before
    std::optional<std::uint32_t> demoGroup;
    std::deque<std::unique_ptr<BackgroundImport::Report>> reports; // not told yet

    struct Waiter
    {
        Waiting what;
        Group::Ptr group; // null: all
        std::function<void()> start;
    };

    std::vector<Waiter> waiters;
    std::vector<AnalysisRemark> analysisRemarks; // on the last analysis
    BackgroundImport reading;                    // goes first: it calls back
};

} // namespace tessivar
