#pragma once

#include "jobs/ExportTracks.h"
#include "model/AudioFileReaders.h"

#include <juce_core/juce_core.h>

#include <memory>
#include <vector>

namespace tessivar
{

/** What of a source's metadata an exported file carries. */
struct CarriedMetadata
{
    std::vector<MetadataChunk> chunks; // of the exported file's type, in file order
    juce::String note;                 // what could not be carried, and why; empty when nothing was lost
};

/** The metadata of a track's source file for a file of this type.

    Between files of one type the chunks pass on byte for byte, known to the program or not. From one type to another
    only that is translated which has a counterpart: markers with their names, notes, and text such as title, artist
    and copyright. Nothing is added that the source does not have.
*/
[[nodiscard]] CarriedMetadata carryMetadata (const SessionTrack& track, ExportFileType type);

/** The metadata chunks of a file. Null when it can't be read. */
[[nodiscard]] std::shared_ptr<const SourceChunks> readSourceChunks (const juce::File& file);

/** The chunks of a RIFF or FORM file, without those that hold format, audio, or what describes the audio so closely
    that it would be wrong for another signal. False when it is no such file; chunks are then left alone.
*/
[[nodiscard]] bool
listMetadataChunks (juce::InputStream& stream, ExportFileType type, std::vector<MetadataChunk>& chunks);

/** The bytes of these chunks in a file of this type: id, size, content, and a byte of padding where needed. */
[[nodiscard]] juce::MemoryBlock encodeChunks (const std::vector<MetadataChunk>& chunks, ExportFileType type);

} // namespace tessivar
