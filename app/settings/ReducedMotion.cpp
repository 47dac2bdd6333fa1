#include "app/settings/ReducedMotion.h"

#include "app/AppSettings.h"
#include "platform/Desktop.h"
#include "ui/Motion.h"

#include <juce_events/juce_events.h>

namespace tessivar
{

std::optional<bool> chosenReducedMotion (const juce::PropertySet& settings)
{
    return settings.containsKey (appSettingsKeys::reducedMotion)
               ? std::optional (settings.getBoolValue (appSettingsKeys::reducedMotion))
               : std::nullopt;
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
            const auto reduced = desktopReducesMotion().value_or (false);
            juce::MessageManager::callAsync ([reduced] { motion::setReduced (reduced); });
        });
}

} // namespace tessivar
