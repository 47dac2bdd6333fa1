#pragma once

#include "model/TessivarWorkspace.h"
#include "model/recovery/RecoveryList.h"
#include "model/recovery/RecoverySession.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace tessivar
{

/** Keeps a recovery entry for every open Group with unsaved changes, written at most changeDelay after a
    change and at the next tick after an analysis. Saving or discarding the Group deletes its entry; entries
    left when the program ends are offered at the next start.

    Writes on a thread of its own; everything else is on the message thread.
*/
class GroupAutosave
{
public:
    static constexpr std::int64_t changeDelay = 5000;  // ms from the first change to the entry
    static constexpr std::int64_t retryDelay = 10000;  // ms after a failure
    static constexpr int suggestedTickInterval = 1000; // ms

    GroupAutosave (TessivarWorkspace& workspace, std::shared_ptr<RecoverySession> session);

    /** Waits for writes in progress. */
    ~GroupAutosave();

    /** Called by tick() when an entry can't be written, with file and reason; once, until writing works
        again.
    */
    std::function<void (const juce::String&)> onFailure;

    /** Call it from a timer, with the time in ms since any fixed start. */
    void tick (std::int64_t now);

    /** Writes the Group's entry now if it has unsaved changes. */
    void writeNow (const Group::Ptr& group);

    /** Deletes the Group's entry: the user closed it without saving. */
    void discard (const Group::Ptr& group);

    /** Deletes a recovered Group's old entry once it has a new one, was saved or was discarded. */
    void takeOver (const RecoveredGroup& recovered);

    /** Waits for all writes. */
    void flush();

private:
    /** The entry that a Group was recovered from. */
    struct OldEntry
    {
        juce::File file;
        std::shared_ptr<const FileLock> lock;
    };

    struct Watched
    {
        std::optional<std::uint64_t> writtenRevision; // or on its way
        std::optional<std::int64_t> changedSince;     // ms
        std::vector<const void*> renderings; // of the tracks, to tell a new analysis by; never followed
        std::int64_t notBefore = 0;          // ms, after a failure
        bool mayHaveEntry = false;
        std::shared_ptr<OldEntry> oldEntry;
    };

    struct Failure
    {
        std::uint32_t groupId = 0;
        juce::String reason;
    };

    void look (const Group::Ptr& group, std::int64_t now);
    void write (const Group& group, Watched& watched);
    void removeEntry (std::uint32_t groupId, Watched& watched);
    void collectFailures (std::int64_t now);
    void report (std::uint32_t groupId, const juce::Result& result);

    TessivarWorkspace& workspace;
    const std::shared_ptr<RecoverySession> session;
    std::map<std::uint32_t, Watched> watchedGroups;
    bool isFailureReported = false;

    std::mutex failuresLock; // guards failures and anySuccess
    std::vector<Failure> failures;
    bool anySuccess = false;

    AudioProbes probes;           // used by the writer alone
    juce::ThreadPool writer{ 1 }; // one thread: a deletion can't overtake the write before it

    JUCE_DECLARE_NON_COPYABLE (GroupAutosave)
};

} // namespace tessivar
