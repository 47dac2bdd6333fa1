#include "model/settings/SettingsFolder.h"

#include "platform/AtomicFile.h"
#include "platform/FileStatus.h"
#include "platform/Folders.h"

namespace tessivar
{

int tidySettingsFolder (const juce::File& folder)
{
    const auto deleted = [] (const juce::File& file)
    { return FileSystemCalls::system().remove (file).failed() ? 0 : 1; };
    auto numDeleted = folder.existsAsFile() ? deleted (folder) : 0;

    if (makeFolder (folder).failed())
        return -1;

    for (const auto& entry :
         juce::RangedDirectoryIterator (folder, false, "*", juce::File::findFilesAndDirectories))
    {
        const auto file = entry.getFile();

        // A link to a folder counts as a folder.
        if (! file.hasFileExtension (".config") && ! file.isDirectory()
            && unfinishedState (file) != Unfinished::beingWritten)
            numDeleted += deleted (file);
    }

    return numDeleted;
}

} // namespace tessivar
