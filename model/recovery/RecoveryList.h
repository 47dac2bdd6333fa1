#pragma once

#include "model/Group.h"
#include "model/recovery/RecoveredAudio.h"
#include "model/recovery/RecoveryEntry.h"
#include "platform/FileLock.h"

#include <juce_core/juce_core.h>

#include <memory>
#include <vector>

namespace tessivar
{

/** An entry left by a process that is gone, locked so that no other copy of the program offers it too. */
struct RecoveryOffer
{
    juce::File file;
    RecoveryEntry entry;     // its tracks have no samples
    bool wasSkipped = false; // the user asked not to be asked again
    std::shared_ptr<const FileLock> lock;
};

/** A recovered Group and the entry it came from, which goes once the Group has an entry of its own. */
struct RecoveredGroup
{
    Group::Ptr group;
    juce::StringArray notes; // for the user: what was lost
    juce::File entryFile;
    std::shared_ptr<const FileLock> lock;
};

/** Unsaved work of earlier runs, read at the start. Only discard() deletes any of it. */
class RecoveryList
{
public:
    /** Reads all entries but those of running processes. Broken ones are moved to the folder bad/ and don't
        affect the others. A missing folder has no entries.
    */
    [[nodiscard]] static RecoveryList scan (const juce::File& folder);

    /** The newest first. */
    [[nodiscard]] const std::vector<RecoveryOffer>& offers() const { return found; }

    /** Those not skipped at an earlier start. */
    [[nodiscard]] bool hasNews() const;

    /** Entries that can't be read: the reason, and where they lie now. */
    [[nodiscard]] const juce::StringArray& problems() const { return problemTexts; }

    /** Makes a Group with unsaved changes from an offer, with the audio that is still there. The entry stays
        until GroupAutosave::takeOver() has written a new one. Message thread.
    */
    [[nodiscard]] juce::Result recover (const RecoveryOffer& offer, RecoveredGroup& recovered);

    /** Keeps the entry, but doesn't offer it again at a start. */
    [[nodiscard]] static juce::Result skip (const RecoveryOffer& offer);

    /** Deletes the entry, and its temporary files if nothing else needs them. */
    [[nodiscard]] static juce::Result discard (const RecoveryOffer& offer);

private:
    void add (const juce::File& file, const std::shared_ptr<const FileLock>& lock);

    std::vector<RecoveryOffer> found;
    juce::StringArray problemTexts;
    RecoveredAudio audio;
};

} // namespace tessivar
