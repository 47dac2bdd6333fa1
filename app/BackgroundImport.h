#pragma once

#include "jobs/ImportTracks.h"
#include "model/Group.h"
#include "model/ImportWarnings.h"
#include "model/TemporaryStore.h"
#include "terms/DrumType.h"

#include <juce_events/juce_events.h>

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <thread>
#include <vector>

namespace tessivar
{

/** Reads audio files into Groups behind the window, which stays free.

    The files of one Group after another are read, several at a time. Until all files of a Group are in, it
    has none of them: then its new tracks come in one edit, in the order of the files. A stop, a full disk and
    the end of the program so leave a Group as it was. Message thread; so are the calls back.
*/
class BackgroundImport : private juce::AsyncUpdater
{
public:
    BackgroundImport();

    /** Stops, and waits until that is done. */
    ~BackgroundImport() override;

    struct GroupFiles
    {
        Group::Ptr group;
        std::vector<juce::File> files;
        std::map<juce::String, DrumType> types{}; // by track; for the others their names decide
    };

    /** What is to be told once all files that were started together have been dealt with. */
    struct Report
    {
        ImportWarnings warnings;
        juce::StringArray notes;
        juce::String failure; // of memory or disk; empty: none
    };

    using OnEnd = std::function<void (std::unique_ptr<Report>)>;

    /** Files for a Group whose files are on their way already are read behind them. */
    void start (std::vector<GroupFiles> groups,
                std::shared_ptr<TemporaryStore> store,
                int numThreads,
                OnEnd onEnd);

    /** Leaves out the files of a Group that are not in it yet. */
    void stop (Group::Ptr group);
    void stopAll();

    [[nodiscard]] bool isReading() const;
    [[nodiscard]] bool isReading (const Group& group) const;

    /** A file on its way. */
    struct File
    {
        std::uint32_t id = 0; // of this file within the process
        juce::String name;    // of the track to come
        DrumType type = DrumType::other;
        bool typeUnknown = false;
        float fraction = 0.0f; // read
    };

    /** Those of a Group, without the refused ones, in the order in which they will stand. */
    [[nodiscard]] std::vector<File> filesOf (const Group& group) const;

    /** Counts the changes of what filesOf() tells of any Group, fractions aside. */
    [[nodiscard]] std::uint32_t revision() const { return changes; }

    /** In one step of undo. Tracks of another rate than the Group's, whose tracks may be others than when
        these were read, are filed instead.
    */
    static void addTracks (std::vector<TrackState> tracks, Group& group, ImportWarnings& warnings);

    /** Tracks are about to come into a Group. */
    std::function<void (std::vector<TrackState>&)> onNewTracks;

    /** The last files of a Group have been dealt with; its tracks are in it, if there are any. */
    std::function<void (const Group::Ptr&)> onGroupEnd;

private:
    struct Batch;
    struct Drop;

    void readNext();
    void handleAsyncUpdate() override;
    void finish (Batch& batch);

    std::deque<std::unique_ptr<Batch>> batches; // the first one is being read
    std::thread thread;                         // reads it
    std::atomic<std::uint32_t> changes{ 0 };

    JUCE_DECLARE_NON_COPYABLE (BackgroundImport)
};

} // namespace tessivar
