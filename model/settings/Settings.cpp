#include "model/settings/Settings.h"

#include "platform/AtomicFile.h"
#include "platform/Folders.h"

namespace tessivar
{

namespace
{
/** A relative path in the file is none of ours: what it would mean depends on where the program was started.
*/
std::optional<juce::File> storedFolder (const juce::PropertySet& settings, const char* key)
{
    const auto path = settings.getValue (key);
    return juce::File::isAbsolutePath (path) ? std::make_optional<juce::File> (path) : std::nullopt;
}
} // namespace

bool isFirstRun (juce::PropertySet& settings)
{
    if (settings.getValue (settingsKeys::firstTime) == settingsTrue)
        return false;

    settings.setValue (settingsKeys::firstTime, settingsTrue);
    return true;
}

FolderSettings FolderSettings::load (const juce::PropertySet& settings)
{
    return { storedFolder (settings, settingsKeys::tempFileLocation),
             storedFolder (settings, settingsKeys::exportPath) };
}

void FolderSettings::save (juce::PropertySet& settings) const
{
    if (exportFolder)
        settings.setValue (settingsKeys::exportPath, exportFolder->getFullPathName());
    else
        settings.removeValue (settingsKeys::exportPath);

    if (temporaryFiles)
        settings.setValue (settingsKeys::tempFileLocation, temporaryFiles->getFullPathName());
}

bool hasFolderSettings (const juce::PropertySet& settings)
{
    return settings.containsKey (settingsKeys::exportPath)
           || settings.containsKey (settingsKeys::tempFileLocation);
}

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
