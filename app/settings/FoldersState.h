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

    /** Reads the disk, so not for painting. */
    [[nodiscard]] static TemporaryDisk of (const juce::File& folder);

    /** Share in use, 0 to 1; 0 if the size is unknown. */
    [[nodiscard]] double usedFraction() const;

    /** "312 GB free" */
    [[nodiscard]] juce::String freeText() const;

    /** What the open Groups use, and when that is freed. */
    [[nodiscard]] juce::String groupsText() const;
};

/** "6.4 GB", "312 GB": decimal units, tenths below 10. */
[[nodiscard]] juce::String byteText (std::uint64_t bytes);

/** Why temporary files go where they go, in a sentence; empty if all is well. */
[[nodiscard]] juce::String temporaryFolderNote (const TemporaryFolderChoice& choice,
                                                const juce::File& sharedFolder);

/** Whether the folder the user chose can be written to; creates it if it is missing. */
[[nodiscard]] juce::Result checkFolder (const juce::File& folder);

/** The settings with the default for temporary files written out as if the user had chosen it, so that it
    stays when the program's own default would come to mean another folder. What is written is the folder that
    can be used by now: that of all users, or else the one in the user's cache.
*/
[[nodiscard]] FolderSettings withDefaultTemporaryFolder (FolderSettings settings,
                                                         const UserFolders& folders,
                                                         const juce::File& sharedFolder);

} // namespace tessivar
