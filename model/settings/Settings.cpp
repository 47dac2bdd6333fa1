#include "model/settings/Settings.h"

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

} // namespace tessivar
