#pragma once

#include "model/SourceChunks.h"

#include <memory>

namespace tessivar
{

/** Reads the metadata chunks of a stream: bext, iXML, cue, LIST, MARK and the like, known to the program or
    not. Leaves out damaged ones of a WAV file, and any larger than headerLimits::maxMetadataBytes. Other
    kinds of file have none. Fails, and leaves chunks as they were, when a WAV or AIFF file can't be read.
*/
juce::Result readSourceChunks (juce::InputStream& stream, SourceChunks& chunks);

/** The same for a file; null when it can't be read. */
[[nodiscard]] std::shared_ptr<const SourceChunks> readSourceChunks (const juce::File& file);

} // namespace tessivar
