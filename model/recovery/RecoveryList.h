#pragma once

#include "model/FileLock.h"
#include "model/Group.h"
#include "model/recovery/RecoveredAudio.h"
#include "model/recovery/RecoveryEntry.h"

#include <juce_core/juce_core.h>

#include <memory>
#include <vector>

namespace tessivar
{

/** An entry that a process left which is gone. Its lock keeps other copies of the program from offering it as well. */
struct RecoveryOffer
{
    juce::File file;
    RecoveryEntry entry;     // its tracks have no samples
    bool wasSkipped = false; // the user did not want to be asked again
    std::shared_ptr<const FileLock> lock;
};

/** A Group that was brought back, with the entry that it came from: that goes when the Group has one of its own. */
struct RecoveredGroup
{
    Group::Ptr group;
    juce::StringArray notes; // for the user: what of it is no longer there
    juce::File entryFile;
    std::shared_ptr<const FileLock> lock;
};

/** What earlier runs of the program left unsaved. Made at the start; nothing in it is deleted but by discard(). */
class RecoveryList
{
public:
    /** Reads each entry for itself. One that is broken is moved to the folder bad/ and never keeps others from being
        offered; entries of running processes are left out. A missing folder has no entries.
    */
    [[nodiscard]] static RecoveryList scan (const juce::File& folder);

    /** The newest first. */
    [[nodiscard]] const std::vector<RecoveryOffer>& offers() const { return found; }

    /** Those among them that the user has not skipped at an earlier start. */
    [[nodiscard]] bool hasNews() const;

    /** What could not be read, with the reason, and where it lies now. */
    [[nodiscard]] const juce::StringArray& problems() const { return problemTexts; }

    /** Makes a Group with unsaved changes of an offer, with its audio as far as that is still there. The entry stays
        until GroupAutosave::takeOver() has a new one. On the message thread.
    */
    [[nodiscard]] juce::Result recover (const RecoveryOffer& offer, RecoveredGroup& recovered);

    /** Keeps the entry, but notes that the user need not be asked about it again. */
    [[nodiscard]] static juce::Result skip (const RecoveryOffer& offer);

    /** Deletes the entry, and its temporary files unless something else needs them. */
    [[nodiscard]] static juce::Result discard (const RecoveryOffer& offer);

private:
    void add (const juce::File& file, const std::shared_ptr<const FileLock>& lock);

    std::vector<RecoveryOffer> found;
    juce::StringArray problemTexts;
    RecoveredAudio audio;
};

} // namespace tessivar
