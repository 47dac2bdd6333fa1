#include "model/settings/Settings.h"

#include "model/ImportWarnings.h"

namespace tessivar
{

namespace
{
/** Null for kinds that are always shown. */
const char* keyOfWarning (int kind)
{
    if (kind == ImportWarnings::longDuration)
        return settingsKeys::showLongTracksWarning;

    return kind == ImportWarnings::shortDuration ? settingsKeys::showShortTracksWarning : nullptr;
}

/** A relative path in the file is none of ours: what it would mean depends on where the program was started. */
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

bool shouldShowWarning (const juce::PropertySet* settings, int kind)
{
    const auto* const key = keyOfWarning (kind);
    return settings == nullptr || key == nullptr || settings->getValue (key).isEmpty();
}

void suppressWarning (juce::PropertySet* settings, int kind)
{
    if (const auto* const key = keyOfWarning (kind); settings != nullptr && key != nullptr)
        settings->setValue (key, settingsFalse);
}

std::vector<int> suppressedWarnings (const juce::PropertySet* settings)
{
    std::vector<int> kinds;

    for (int kind = 0; kind < ImportWarnings::numCodes; ++kind)
        if (! shouldShowWarning (settings, kind))
            kinds.push_back (kind);

    return kinds;
}

void suppressWarnings (juce::PropertySet* settings, const std::vector<int>& kinds)
{
    for (const auto kind : kinds)
        suppressWarning (settings, kind);
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
