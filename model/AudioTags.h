#pragma once

#include <juce_core/juce_core.h>

namespace tessivar
{

/** The key under which a text tag of a FLAC, Ogg or CAF file (title, artist, comment and so on, in any case)
    is kept: that of a RIFF INFO list, so that it finds its place in an exported file. Tags without a
    counterpart keep their name.
*/
juce::String metadataKeyForTag (const juce::String& tag);

} // namespace tessivar
