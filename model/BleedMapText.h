#pragma once

#include "terms/BleedMap.h"

#include <juce_core/juce_core.h>

#include <optional>

namespace tessivar
{

/** A bleed map as a group file keeps it: the number of drums, a colon, and its powers as floats in
    Base64. */
[[nodiscard]] juce::String toText (const BleedMap& map);

/** Nothing unless the text holds a whole map of at most as many drums as a Group has tracks. */
[[nodiscard]] std::optional<BleedMap> bleedMapFromText (const juce::String& text);

} // namespace tessivar
