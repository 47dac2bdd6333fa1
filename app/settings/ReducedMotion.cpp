#include "app/settings/ReducedMotion.h"

#include "app/AppSettings.h"
#include "ui/Motion.h"

#include <juce_events/juce_events.h>

namespace tessivar
{

namespace
{
constexpr int answerTimeMs = 500;

/** The value behind "key=" in a file of sections and lines; nothing when it is not there. */
std::optional<juce::String> valueIn (const juce::File& file, const juce::String& key)
{
    if (! file.existsAsFile())
        return std::nullopt;

    for (const auto& line : juce::StringArray::fromLines (file.loadFileAsString()))
        if (line.upToFirstOccurrenceOf ("=", false, false).trim() == key && line.containsChar ('='))
            return line.fromFirstOccurrenceOf ("=", false, false).trim();

    return std::nullopt;
}

/** What GNOME and its kin say; nothing where they are not at home. */
std::optional<bool> gnomeReducesMotion()
{
    juce::ChildProcess process;

    if (! process.start (
            juce::StringArray{ "gsettings", "get", "org.gnome.desktop.interface", "enable-animations" },
            juce::ChildProcess::wantStdOut))
        return std::nullopt;

    if (! process.waitForProcessToFinish (answerTimeMs))
    {
        process.kill();
        return std::nullopt;
    }

    const auto answer = process.readAllProcessOutput().trim();
    return answer == "false" ? std::optional (true) : answer == "true" ? std::optional (false) : std::nullopt;
}
} // namespace

std::optional<bool> chosenReducedMotion (const juce::PropertySet& settings)
{
    return settings.containsKey (appSettingsKeys::reducedMotion)
               ? std::optional (settings.getBoolValue (appSettingsKeys::reducedMotion))
               : std::nullopt;
}

std::optional<bool> desktopReducesMotion (const juce::File& configFolder)
{
    std::optional<bool> result;

    for (const auto* version : { "gtk-3.0", "gtk-4.0" })
        if (const auto value = valueIn (configFolder.getChildFile (version).getChildFile ("settings.ini"),
                                        "gtk-enable-animations"))
            result = result.value_or (false) || *value == "0" || value->equalsIgnoreCase ("false");

    if (const auto factor = valueIn (configFolder.getChildFile ("kdeglobals"), "AnimationDurationFactor"))
        result = result.value_or (false) || factor->getDoubleValue() <= 0.0;

    return result;
}

void applyMotion (const juce::PropertySet& settings)
{
    if (const auto chosen = chosenReducedMotion (settings))
    {
        motion::setReduced (*chosen);
        return;
    }

    juce::Thread::launch (
        []
        {
            const auto config = juce::File::getSpecialLocation (juce::File::userApplicationDataDirectory);
            const auto fromFiles = desktopReducesMotion (config);
            const auto reduced = fromFiles ? *fromFiles : gnomeReducesMotion().value_or (false);
            juce::MessageManager::callAsync ([reduced] { motion::setReduced (reduced); });
        });
}

} // namespace tessivar
