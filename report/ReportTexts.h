#pragma once

#include "terms/DrumType.h"

#include <juce_core/juce_core.h>

#include <cstddef>

namespace tessivar
{

/** "3.4" or, with a true minus sign, "-3.4"; "-0.0" is written "0.0", and what lies below -199 "-inf" with
    the sign of infinity. */
[[nodiscard]] juce::String levelText (double levelDb);

/** The same for a change, with a sign in front of what is above 0. */
[[nodiscard]] juce::String changeText (double levelDb);

/** "38 %", "0.4 %", "less than 0.1 %". */
[[nodiscard]] juce::String shareText (double share);

/** "0:05", "2:05", "1:02:05"; with tenths "0:05.3". */
[[nodiscard]] juce::String timeText (double seconds, bool withTenths = false);

/** "1 track", "8 tracks". */
[[nodiscard]] juce::String countText (std::size_t count, const char* noun);

/** "A", "A and B", "A, B and C". */
[[nodiscard]] juce::String listText (const juce::StringArray& names);

/** "-12.0", or with an arrow between them "-12.0" and what it has become. */
[[nodiscard]] juce::String levelsText (double beforeDb, double afterDb, bool isProcessed);

/** As a drum type is shown; also one that can't be chosen. */
[[nodiscard]] juce::String typeText (DrumType type);

/** The text with a capital in front. */
[[nodiscard]] juce::String capitalized (const juce::String& text);

[[nodiscard]] double gainToDb (float gain);

} // namespace tessivar
