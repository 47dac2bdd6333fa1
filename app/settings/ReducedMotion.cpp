#include "app/settings/ReducedMotion.h"

#include "app/AppSettings.h"
#include "platform/Desktop.h"
#include "ui/Motion.h"

#include <juce_events/juce_events.h>

namespace tessivar
{

void applyMotion (const juce::PropertySet& settings)
{
    if (settings.containsKey (appSettingsKeys::reducedMotion))
    {
        motion::setReduced (settings.getBoolValue (appSettingsKeys::reducedMotion));
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
