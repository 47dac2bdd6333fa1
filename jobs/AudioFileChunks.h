#pragma once

#include "jobs/ExportPlan.h"
#include "model/SourceChunks.h"

#include <juce_core/juce_core.h>

#include <vector>

namespace tessivar
{

/** What of a source's metadata an exported file carries. */
struct CarriedMetadata
{
    std::vector<MetadataChunk> chunks; // of the exported file's type, in file order
    juce::String note;                 // what could not be carried, and why; empty when nothing was lost
};

/** The metadata of a source file for a file of this type.

    Between files of one type the chunks pass on byte for byte, known to the program or not. From one type to
    another only that is translated which has a counterpart: markers with their names, notes, and text such as
    title, artist and copyright. Nothing is added that the source does not have.
*/
[[nodiscard]] CarriedMetadata carryMetadata (const SourceInfo& source, ExportFileType type);

/** The bytes of these chunks in a file of this type: id, size, content, and a byte of padding where needed.
*/
[[nodiscard]] juce::MemoryBlock encodeChunks (const std::vector<MetadataChunk>& chunks, ExportFileType type);

} // namespace tessivar
