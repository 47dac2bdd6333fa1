#pragma once

#include "model/GroupState.h"
#include "platform/FileStatus.h"

#include <juce_core/juce_core.h>

#include <set>
#include <vector>

namespace tessivar
{

/** Why a result may not be written to a file. */
enum class OutputRefusal
{
    none,
    isSource,     // of a track
    isGroupInUse, // a group file that is open, or one that a command reads
    isTaken,      // another result of the same run goes there
    exists        // and nobody asked to replace it
};

/** The reason in words; empty for none. */
[[nodiscard]] juce::String reasonOf (OutputRefusal refusal);

/** Decides, for every command and for the window, which files results may be written to: never over a source
    or over a group file in use, and no two to one file. Files are told apart by FileId, so that every name
    counts that leads to them, symbolic and hard links included.

    A copy goes its own ways. On one thread at a time.
*/
class OutputRules
{
public:
    void protectSource (const juce::File& file) { sources.add (file); }
    void protectGroupFile (const juce::File& file) { groupFiles.add (file); }

    /** The group file that samples lie in; temporary files need no protection. Null: none. */
    void protectSamples (const TrackSamples* samples, const juce::File& ownFile = {});

    /** The sources of a Group, and the group files that its audio lies in, without the one that it is saved
        to.
    */
    void protect (const GroupState& group, const juce::File& ownFile = {});

    /** Takes a file for a result, if it may be written; nobody else gets it then. ownFile is protected, but
        not from the Group whose file it is.
    */
    [[nodiscard]] OutputRefusal
    claim (const juce::File& target, bool mayReplace, const juce::File& ownFile = {});

    /** The same as a result, which names the file. */
    [[nodiscard]] juce::Result
    claimFile (const juce::File& target, bool mayReplace, const juce::File& ownFile = {});

private:
    struct Protected
    {
        std::set<juce::File> paths; // for a file that was replaced since, or doesn't exist any more
        std::set<FileId> ids;

        void add (const juce::File& file);
        [[nodiscard]] bool contains (const juce::File& file) const;
    };

    Protected sources, groupFiles;
    std::vector<juce::File> taken;
};

} // namespace tessivar
