#pragma once

#include "terms/KnobValues.h"

#include <juce_core/juce_core.h>

#include <optional>

namespace tessivar
{

/** How the knobs of a track stand: both settings, and which of them sounds. */
struct TrackKnobs
{
    KnobValues a = startKnobsA, b = startKnobsB;
    KnobSetting sounding = KnobSetting::a;

    bool operator== (const TrackKnobs&) const = default;
};

/** One line for the clipboard and the settings: "Tessivar settings: A Focus 3.1 Fine 0.18, B Focus 0 Fine 0,
    A sounds". Focus is 0 to 5, Fine 0 to 1, to the last bit.
*/
[[nodiscard]] juce::String knobText (const TrackKnobs& knobs);

/** What knobText() wrote; nothing for any other text, and for values outside the knobs' ranges. */
[[nodiscard]] std::optional<TrackKnobs> parseKnobText (const juce::String& text);

} // namespace tessivar
