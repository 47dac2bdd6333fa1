#pragma once

#include "platform/SystemError.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <functional>
#include <optional>

namespace tessivar
{

class FileLock;

/** Makes a folder and those above it; one that another process makes at the same moment counts as made. */
[[nodiscard]] juce::Result makeFolder (const juce::File& folder);

/** Makes a folder that nobody but the user may look into; fails when it exists. */
[[nodiscard]] SystemError makeNewPrivateFolder (const juce::File& folder);

/** Closes an existing folder of the user to all others, as far as the file system can. */
void makePrivate (const juce::File& folder);

/** The folder, or the nearest one above it that exists. */
[[nodiscard]] juce::File existingAncestor (juce::File folder);

/** Whether two folders, or the nearest ones above them that exist, lie on one file system. */
[[nodiscard]] bool areOnOneVolume (const juce::File& a, const juce::File& b);

/** Whether files can be made in a folder, or the folder itself where it is missing. */
[[nodiscard]] bool canMakeFilesIn (const juce::File& folder);

/** Whether it is a folder of this user, and no link to one. */
[[nodiscard]] bool isOwnFolder (const juce::File& folder);

/** The name that a file of this name gets: its own wherever the system can hold that. */
[[nodiscard]] juce::String possibleFileName (const juce::String& name);

/** Removes an empty folder. */
void removeFolder (const juce::File& folder);

/** Removes a folder of plain files, never through a link. The locked file in it goes last, so that what is
    cut short can be repeated as long as it is there. The room of large files comes back behind the scenes
    (RoomRelease).
*/
void removeFolderOfFiles (const juce::File& folder, const char* lockedFile, FileLock lock);

/** The same for the files alone. */
void removeFiles (const juce::File& folder, const char* last);

/** Bytes that can be written to the file system of a folder, or of its nearest ancestor that exists; nothing
    when it can't be asked. What removed files are still giving back counts.
*/
[[nodiscard]] std::optional<std::uint64_t> freeBytesOf (const juce::File& folder);

/** Bytes of the largest file that a folder's file system takes; nothing when that is no limit in practice. */
[[nodiscard]] std::optional<std::uint64_t> largestFileIn (const juce::File& folder);

/** A number of bytes for a message: exact, and above 10 MB in MB or GB as well: "1288490189 bytes (1.29 GB)".
*/
[[nodiscard]] juce::String describeBytes (std::uint64_t bytes);

/** Where the system wants a user's files, for all programs; each makes a folder of its own in them. */
struct KnownFolders
{
    juce::File configuration;
    juce::File state; // what is kept from run to run and is no setting
    juce::File cache;
    juce::File runtime; // for sockets, gone when the user logs out; nothing where the system has none
    juce::File documents;

    [[nodiscard]] static KnownFolders ofUser();

    /** The value of an environment variable; empty when it is not set. */
    using Environment = std::function<juce::String (const char* variable)>;

    /** Those of a user with that home folder. Variables of the desktop that hold no absolute path count as
        not set.
    */
    [[nodiscard]] static KnownFolders from (const Environment& environment, const juce::File& home);
};

} // namespace tessivar
