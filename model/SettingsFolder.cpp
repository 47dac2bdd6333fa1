#include "model/SettingsFolder.h"

#include "model/FileLock.h"

#include <cerrno>
#include <csignal>

#include <sys/stat.h>
#include <unistd.h>

namespace tessivar
{

namespace
{
/** Whether the file is one that AtomicFile names, by a process that lives. */
bool isBeingWritten (const juce::File& file)
{
    const auto tail = file.getFileName().fromLastOccurrenceOf (".tmp-", false, false);
    const auto process = tail.upToFirstOccurrenceOf ("-", false, false);

    return process.isNotEmpty() && process.length() < 10 && process.containsOnly ("0123456789")
           && tail.length() == process.length() + 9
           && (::kill (static_cast<pid_t> (process.getIntValue()), 0) == 0 || errno == EPERM);
}
} // namespace

int tidySettingsFolder (const juce::File& folder)
{
    auto numDeleted = 0;

    if (folder.existsAsFile() && ::unlink (folder.getFullPathName().toRawUTF8()) == 0)
        ++numDeleted;

    if (makeFolder (folder).failed())
        return -1;

    for (const auto& entry :
         juce::RangedDirectoryIterator (folder, false, "*", juce::File::findFilesAndDirectories))
    {
        const auto file = entry.getFile();
        struct stat info = {};

        // A link to a folder counts as a folder.
        if (file.hasFileExtension (".config") || file.isDirectory() || isBeingWritten (file)
            || ::lstat (file.getFullPathName().toRawUTF8(), &info) != 0)
            continue;

        numDeleted += ::unlink (file.getFullPathName().toRawUTF8()) == 0 ? 1 : 0;
    }

    return numDeleted;
}

} // namespace tessivar
