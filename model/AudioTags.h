#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <span>

namespace tessivar
{

/** The key under which a text tag of a FLAC, Ogg or CAF file (title, artist, comment and so on, in any case)
    is kept: that of a RIFF INFO list, so that it finds its place in an exported file. Tags without a
    counterpart keep their name.
*/
juce::String metadataKeyForTag (const juce::String& tag);

/** Adds a text tag as FLAC and Ogg files hold it, "TITLE=Take 1", under its key. Without a value it is left out. */
void addVorbisComment (std::span<const std::uint8_t> comment, juce::StringPairArray& metadata);

} // namespace tessivar
