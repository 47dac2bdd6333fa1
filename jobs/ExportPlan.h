#pragma once

#include "model/GroupState.h"
#include "model/OutputRules.h"
#include "platform/FileSystemCalls.h"

#include <juce_core/juce_core.h>

#include <span>
#include <vector>

namespace tessivar
{

enum class ExportFileType
{
    wav,
    aiff,
};

/** AIFF for ".aiff" and ".aif" in any case, with or without the dot; WAV for anything else. */
[[nodiscard]] ExportFileType exportFileTypeFor (const juce::String& extension);

/** What is asked for. */
enum class ExportDepth
{
    source, // as each source file has it
    float32 // in WAV files; AIFF files keep the source's
};

/** How samples are stored in an exported file. */
struct ExportSampleFormat
{
    int bitsPerSample = 24; // 8, 16, 24, or 32 when isFloatingPoint
    bool isFloatingPoint = false;
    juce::String note; // why it is not what was asked for; empty when it is
};

/** The format for a source of this depth: the same where the file type can hold it. WAV takes 32-bit samples
    as float, AIFF takes them as 24 bit; depths between 8, 16 and 24 go to the next of these. The toolkit
    writes no AIFF file with floating point.
*/
[[nodiscard]] ExportSampleFormat exportSampleFormatFor (int bitsPerSample,
                                                        bool isFloatingPoint,
                                                        ExportFileType type,
                                                        ExportDepth depth = ExportDepth::source);

struct ExportOptions
{
    juce::File folder;               // created when missing
    juce::String extension = ".wav"; // ".wav", ".aiff" or ".aif"
    ExportDepth depth = ExportDepth::source;
    bool overwrite = false;       // replace files that exist
    OutputRules* rules = nullptr; // that every file is claimed from; null: only the tracks' own files count
    FileSystemCalls* calls = nullptr; // null: those of the operating system
    int numThreads = 1;               // that compute at the same time; others wait for the disk meanwhile
};

/** Whether files are named after the tracks as they are, or as the analysis ahead will leave them. */
enum class PlannedFor
{
    tracksAsTheyAre,
    tracksOnceAnalysed
};

/** The file name a track is exported under, without folder: the source's name, "_L" or "_R" when the source
    has more than one channel, "_Processed" when the track has processed output, then extension (with its
    dot). A track that knows no source file gives its own name, without what file systems don't take. Names
    that would exceed 255 bytes are shortened in that part.
*/
[[nodiscard]] juce::String exportFileName (const TrackState& track, const juce::String& extension);

/** The file a track will be written to. */
struct PlannedFile
{
    juce::File file;
    juce::String note{}; // why it does not have the track's own name; empty when it does
};

/** The files that exporting these tracks writes, indexed like the tracks. Two tracks never share a name,
    upper and lower case counting as equal: the later one gets "_2", "_3" and so on before the extension.
*/
[[nodiscard]] std::vector<PlannedFile> planExport (std::span<const TrackState> tracks,
                                                   const ExportOptions& options,
                                                   PlannedFor when = PlannedFor::tracksAsTheyAre);

/** The files that exporting the components of these tracks writes: ten for each that has them. */
[[nodiscard]] std::vector<juce::File> planComponents (std::span<const TrackState> tracks,
                                                      const ExportOptions& options,
                                                      PlannedFor when = PlannedFor::tracksAsTheyAre);

} // namespace tessivar
