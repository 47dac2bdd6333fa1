#pragma once

#include "model/settings/Settings.h"
#include "model/settings/UserFolders.h"

#include <cstdint>
#include <optional>

namespace tessivar
{

/** The disk of the folder for temporary files, in bytes. */
struct TemporaryDisk
{
    std::optional<std::uint64_t> free; // nothing: it can't be asked
    std::uint64_t total = 0;
    std::uint64_t ofOpenGroups = 0; // taken by this process

    /** Looks at the disk: not for painting. */
    [[nodiscard]] static TemporaryDisk of (const juce::File& folder);

    /** The taken part, 0 to 1; 0 where the size is not known. */
    [[nodiscard]] double usedFraction() const;

    /** "312 GB free" */
    [[nodiscard]] juce::String freeText() const;

    /** What the open Groups take, and when it comes back. */
    [[nodiscard]] juce::String groupsText() const;
};

/** "6.4 GB", "312 GB": decimal units, tenths below 10. */
[[nodiscard]] juce::String byteText (std::uint64_t bytes);

/** A sentence on why temporary files go where they go; empty where there is nothing wrong with it. */
[[nodiscard]] juce::String temporaryFolderNote (const TemporaryFolderChoice& choice,
                                                const juce::File& sharedFolder);

/** Whether files can be written to a folder that the user chose; it is made where it is missing. */
[[nodiscard]] juce::Result checkFolder (const juce::File& folder);

/** The settings with the default for temporary files written out as if the user had chosen it, so that it
    stays when the program's own default would come to mean another folder. What is written is the folder that
    can be used by now: that of all users, or else the one in the user's cache.
*/
[[nodiscard]] FolderSettings withDefaultTemporaryFolder (FolderSettings settings,
                                                         const UserFolders& folders,
                                                         const juce::File& sharedFolder);

} // namespace tessivar
