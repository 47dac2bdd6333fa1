#pragma once

#include "model/recovery/RecoveryEntry.h"
#include "platform/FileLock.h"
#include "platform/FileSystemCalls.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>

namespace tessivar
{

/** Names in a recovery folder: "<pid>-<random>.lock", locked while the process lives; beside it its entries,
    "<pid>-<random>-<group>.recovery", with a "....skipped" for those not to be offered again. Broken entries
    lie in bad/.
*/
namespace recoveryNames
{
inline constexpr auto entrySuffix = ".recovery", lockSuffix = ".lock", skippedSuffix = ".skipped",
                      badFolder = "bad";

[[nodiscard]] juce::File lockOf (const juce::File& entry);
[[nodiscard]] juce::File skippedMarkOf (const juce::File& entry);
} // namespace recoveryNames

/** Deletes an entry and its mark; a missing one is no failure. */
[[nodiscard]] juce::Result deleteRecoveryEntry (const juce::File& entry,
                                                FileSystemCalls& calls = FileSystemCalls::system());

/** The entries of this process. On any thread. */
class RecoverySession
{
public:
    /** Makes the folder, readable by the user alone, and its lock. */
    [[nodiscard]] static juce::Result open (const juce::File& folder,
                                            std::shared_ptr<RecoverySession>& session,
                                            FileSystemCalls& calls = FileSystemCalls::system());

    /** Leaves the entries in place. */
    ~RecoverySession();

    /** Replaces a Group's entry atomically; on failure the old one stays. Keeps the temporary files it names
        from being swept.
    */
    [[nodiscard]] juce::Result write (std::uint32_t groupId, const RecoveryEntry& entry);

    /** Deletes a Group's entry, if it has one. */
    [[nodiscard]] juce::Result remove (std::uint32_t groupId)
    {
        return deleteRecoveryEntry (entryFile (groupId), calls);
    }

    [[nodiscard]] juce::File entryFile (std::uint32_t groupId) const;

private:
    RecoverySession (FileSystemCalls&, const juce::File& folder, const juce::String& name, FileLock lock);

    FileSystemCalls& calls;
    const juce::File folder;
    const juce::String name;
    const FileLock lock;

    std::mutex notesLock;                                         // guards notedFolders
    std::map<std::uint32_t, std::set<juce::String>> notedFolders; // of temporary stores, per Group

    JUCE_DECLARE_NON_COPYABLE (RecoverySession)
};

} // namespace tessivar
