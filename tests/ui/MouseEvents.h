#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar::test
{

/** An event of the mouse at a place of a component. */
inline juce::MouseEvent mouseAt (juce::Component& component,
                                 juce::Point<float> position,
                                 int modifiers = juce::ModifierKeys::leftButtonModifier)
{
    const auto now = juce::Time::getCurrentTime();
    return { juce::Desktop::getInstance().getMainMouseSource(),
             position,
             juce::ModifierKeys (modifiers),
             juce::MouseInputSource::defaultPressure,
             juce::MouseInputSource::defaultOrientation,
             juce::MouseInputSource::defaultRotation,
             juce::MouseInputSource::defaultTiltX,
             juce::MouseInputSource::defaultTiltY,
             &component,
             &component,
             now,
             position,
             now,
             1,
             false };
}

} // namespace tessivar::test
