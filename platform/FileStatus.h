#pragma once

#include "platform/FileSystemCalls.h"

#include <compare>
#include <optional>

namespace tessivar
{

/** Tells files apart whatever their names: links of both kinds have that of the file they lead to. */
struct FileId
{
    std::uint64_t volume = 0; // 0: the system doesn't tell
    std::uint64_t number = 0;

    auto operator<=> (const FileId&) const = default;
};

/** What the system knows of a file. */
struct FileStatus
{
    enum class Kind
    {
        file,
        folder,
        link,
        other // device, pipe, socket
    };

    Kind kind = Kind::other;
    FileId id;
    std::uint64_t size = 0;        // bytes
    std::uint64_t bytesOnDisk = 0; // holes take none
    std::int64_t modified = 0;     // ns since 1970
    bool isOwn = false;            // belongs to this user

    [[nodiscard]] bool isFile() const { return kind == Kind::file; }
    [[nodiscard]] bool isFolder() const { return kind == Kind::folder; }
};

enum class Links
{
    follow,
    keep // a link is told of as such
};

[[nodiscard]] SystemError
readStatus (const juce::File& file, FileStatus& status, Links links = Links::follow);

/** Nothing when there is no such file, or when it can't be asked. */
[[nodiscard]] std::optional<FileStatus> statusOf (const juce::File& file, Links links = Links::follow);
[[nodiscard]] std::optional<FileStatus> statusOf (FileHandle handle);

/** Whether two names lead to one file that exists. */
[[nodiscard]] bool isSameFile (const juce::File& a, const juce::File& b);

/** Whether a name still leads to an open file, and not to one that has taken its place. */
[[nodiscard]] bool isStillAt (FileHandle handle, const juce::File& file);

/** Why an existing file may not be written to. */
[[nodiscard]] SystemError checkWritable (const juce::File& file);

/** The file that a symbolic link leads to in the end; the name itself when it is no link, or one that leads
    nowhere.
*/
[[nodiscard]] juce::File withLinksResolved (const juce::File& file);

/** Lets the same users do the same with an open file as with another one; no error where there are no
    permissions.
*/
[[nodiscard]] SystemError copyPermissions (const juce::File& from, FileHandle to);

} // namespace tessivar
