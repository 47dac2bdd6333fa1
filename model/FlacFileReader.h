#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

#include <memory>

namespace tessivar
{

/** A reader of FLAC streams that fails where the stream is damaged. JUCE's own plays silence there, or joins
    what is before a lost frame to what comes behind it; it also gives no tags and can't seek beyond 2 GB.

    @returns null when the stream can't be decoded; why then holds the reason
*/
std::unique_ptr<juce::AudioFormatReader> createFlacFileReader (std::unique_ptr<juce::InputStream> stream,
                                                               juce::Result& why);

} // namespace tessivar
