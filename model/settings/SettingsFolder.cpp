#include "model/settings/SettingsFolder.h"

#include "model/DiskNames.h"
#include "model/FileLock.h"

#include <sys/stat.h>
#include <unistd.h>

namespace tessivar
{

int tidySettingsFolder (const juce::File& folder)
{
    auto numDeleted = 0;

    if (folder.existsAsFile() && ::unlink (bytesOfPath (folder).c_str()) == 0)
        ++numDeleted;

    if (makeFolder (folder).failed())
        return -1;

    for (const auto& entry :
         juce::RangedDirectoryIterator (folder, false, "*", juce::File::findFilesAndDirectories))
    {
        const auto file = entry.getFile();
        struct stat info = {};

        // A link to a folder counts as a folder.
        if (file.hasFileExtension (".config") || file.isDirectory()
            || unfinishedState (file) == Unfinished::beingWritten
            || ::lstat (bytesOfPath (file).c_str(), &info) != 0)
            continue;

        numDeleted += ::unlink (bytesOfPath (file).c_str()) == 0 ? 1 : 0;
    }

    return numDeleted;
}

} // namespace tessivar
