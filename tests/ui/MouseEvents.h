#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <optional>

namespace tessivar::test
{

/** An event of the mouse at a place of a component; of a drag when it was pressed elsewhere. */
inline juce::MouseEvent mouseAt (juce::Component& component,
                                 juce::Point<float> position,
                                 int modifiers = juce::ModifierKeys::leftButtonModifier,
                                 std::optional<juce::Point<float>> pressedAt = {},
                                 int numClicks = 1)
{
    using Source = juce::MouseInputSource;
    const auto now = juce::Time::getCurrentTime();
    const auto pressed = pressedAt.value_or (position);
    // clang-format off
    return { juce::Desktop::getInstance().getMainMouseSource(), position, juce::ModifierKeys (modifiers),
             Source::defaultPressure, Source::defaultOrientation, Source::defaultRotation,
             Source::defaultTiltX, Source::defaultTiltY, &component, &component, now, pressed, now,
             numClicks, pressed != position };
    // clang-format on
}

} // namespace tessivar::test
