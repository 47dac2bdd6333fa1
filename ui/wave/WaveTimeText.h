#pragma once

#include <juce_core/juce_core.h>

namespace tessivar
{

/** A position as m:ss or h:mm:ss, followed by `decimals` digits (0 to 3) of the second: "0:49.306". Cut, not
    rounded, so that a text never shows a moment that is still to come; a nanosecond is added first, which
    takes up what doubles lose. Negative positions count as 0.
*/
[[nodiscard]] juce::String waveTimeText (double seconds, int decimals);

/** The marks of a time ruler at one zoom. */
struct WaveRulerTicks
{
    double labelSpacing = 1.0; // s between marks with a text
    int divisions = 10;        // parts of that spacing with small marks between
    int middle = 5;            // every so many parts a middle-sized mark; 0: none
    int decimals = 0;          // digits of a second in the texts

    /** The closest marks whose texts have room: at least 70 pixels, 84 once they carry milliseconds, lie
        between two. Small marks are at least 5 pixels apart. */
    [[nodiscard]] static WaveRulerTicks forScale (double pixelsPerSecond);
};

} // namespace tessivar
