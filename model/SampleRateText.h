#pragma once

#include <juce_core/juce_core.h>

namespace tessivar
{

/** "44.1 kHz" */
[[nodiscard]] inline juce::String sampleRateText (double rate)
{
    return juce::String (rate / 1000.0, 3).trimCharactersAtEnd ("0").trimCharactersAtEnd (".") + " kHz";
}

} // namespace tessivar
