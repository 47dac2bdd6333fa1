#include "platform/Folders.h"

#include "platform/DiskNames.h"
#include "platform/FileStatus.h"
#include "platform/Process.h"
#include "platform/RoomRelease.h"
#include "platform/posix/SystemCall.h"

#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace tessivar
{

namespace
{
void removeFile (int folder, const char* name)
{
    const auto file = ::openat (folder, name, O_WRONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    struct stat info = {};
    const auto isGone = ::unlinkat (folder, name, 0) == 0;

    if (file < 0)
        return;

    // A file that has another name elsewhere is not ours to cut.
    if (isGone && ::fstat (file, &info) == 0 && S_ISREG (info.st_mode) && info.st_nlink == 0)
        roomRelease::take (posix::handleOf (file));
    else
        ::close (file);
}
} // namespace

SystemError makeNewPrivateFolder (const juce::File& folder)
{
    return posix::resultOf (::mkdir (bytesOfPath (folder).c_str(), 0700));
}

void makePrivate (const juce::File& folder)
{
    juce::ignoreUnused (::chmod (bytesOfPath (folder).c_str(), 0700));
}

bool canMakeFilesIn (const juce::File& folder)
{
    const auto existing = existingAncestor (folder);
    return existing.isDirectory()
           && ::faccessat (AT_FDCWD, bytesOfPath (existing).c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

juce::String possibleFileName (const juce::String& name)
{
    return name;
}

void removeFolder (const juce::File& folder)
{
    ::rmdir (bytesOfPath (folder).c_str());
}

void removeFiles (const juce::File& folder, const char* last)
{
    const auto descriptor =
        ::open (bytesOfPath (folder).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);

    if (descriptor < 0)
        return;

    if (auto* listing = ::fdopendir (descriptor))
    {
        while (const auto* entry = ::readdir (listing))
            if (std::string_view (entry->d_name) != last)
                removeFile (descriptor, entry->d_name);

        ::unlinkat (descriptor, last, 0);
        ::closedir (listing);
    }
    else
    {
        ::close (descriptor);
    }
}

std::optional<std::uint64_t> freeBytesOf (const juce::File& folder)
{
    const auto existing = existingAncestor (folder);
    struct statvfs info = {};

    if (::statvfs (bytesOfPath (existing).c_str(), &info) != 0)
        return std::nullopt;

    const auto status = statusOf (existing);
    const auto pending = status ? roomRelease::pendingBytes (status->id.volume) : 0;
    return static_cast<std::uint64_t> (info.f_bavail) * static_cast<std::uint64_t> (info.f_frsize) + pending;
}

std::optional<std::uint64_t> largestFileIn (const juce::File& folder)
{
    constexpr std::uint64_t largestOfFat = 0xffffffffu;
    struct statfs info = {};

    if (::statfs (bytesOfPath (folder).c_str(), &info) == 0 && info.f_type == MSDOS_SUPER_MAGIC)
        return largestOfFat;

    return std::nullopt;
}

KnownFolders KnownFolders::ofUser()
{
    auto folders = from (environmentVariable, juce::File::getSpecialLocation (juce::File::userHomeDirectory));
    folders.documents = juce::File::getSpecialLocation (juce::File::userDocumentsDirectory);
    return folders;
}

KnownFolders KnownFolders::from (const Environment& environment, const juce::File& home)
{
    // freedesktop.org's base directories
    const auto base = [&] (const char* variable, const juce::File& fallback)
    {
        const auto value = environment (variable);
        return value.startsWithChar ('/') ? juce::File (value) : fallback;
    };

    return { base ("XDG_CONFIG_HOME", home.getChildFile (".config")),
             base ("XDG_STATE_HOME", home.getChildFile (".local/state")),
             base ("XDG_CACHE_HOME", home.getChildFile (".cache")),
             base ("XDG_RUNTIME_DIR", {}),
             home.getChildFile ("Documents") };
}

} // namespace tessivar
