#pragma once

#include <juce_core/juce_core.h>

namespace tessivar
{

/** A position as m:ss or h:mm:ss, followed by `decimals` digits (0 to 3) of the second: "0:49.306".
    Truncated, not rounded, so that a text never shows a moment still to come; a nanosecond is added first to
    make up for the rounding of doubles. Negative positions count as 0.
*/
[[nodiscard]] juce::String waveTimeText (double seconds, int decimals);

/** The marks of a time ruler at one zoom. */
struct WaveRulerTicks
{
    double labelSpacing = 1.0; // s between labelled marks
    int divisions = 10;        // small marks per label spacing
    int middle = 5;            // a medium mark every so many divisions; 0: none
    int decimals = 0;          // digits of a second in the labels

    /** The closest marks whose labels fit: at least 70 pixels apart, 84 with milliseconds. Small marks are at
        least 5 pixels apart. */
    [[nodiscard]] static WaveRulerTicks forScale (double pixelsPerSecond);
};

} // namespace tessivar
