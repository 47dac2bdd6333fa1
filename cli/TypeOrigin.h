#pragma once

#include "model/Abbreviations.h"

#include <juce_core/juce_core.h>

namespace tessivar
{

/** Where a track's drum type comes from. */
enum class TypeOrigin
{
    given,   // on the command line
    group,   // in the group file
    name,    // guessed from the file name
    fallback // no word in the name is known
};

[[nodiscard]] TypeOrigin originOf (const TrackClassification& classification);

/** The word for it in JSON: given, group, name or fallback. */
[[nodiscard]] const char* originWord (TypeOrigin origin);

/** In words: given, saved, guessed from "kick" (naming the list unless it is the built-in one), or nothing in
    the name.
*/
[[nodiscard]] juce::String originText (TypeOrigin origin, const TrackClassification& guess);

/** The word in JSON for where the list comes from: default, user or file. */
[[nodiscard]] const char* listWord (ListSource source);

} // namespace tessivar
