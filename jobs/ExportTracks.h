#pragma once

#include "jobs/SessionTrack.h"
#include "model/FileSystemCalls.h"
#include "model/OutputRules.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

#include <cstdint>
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

/** How samples are stored in an exported file. */
struct ExportSampleFormat
{
    int bitsPerSample = 24; // 8, 16, 24, or 32 when isFloatingPoint
    bool isFloatingPoint = false;
    juce::String note; // why it is not the source's own format; empty when it is
};

/** The format for a source of this depth: the same where the file type can hold it. WAV takes 32-bit samples as float,
    AIFF takes them as 24 bit; depths between 8, 16 and 24 go to the next of these.
*/
[[nodiscard]] ExportSampleFormat
exportSampleFormatFor (int bitsPerSample, bool isFloatingPoint, ExportFileType type);

/** The file name a track is exported under, without folder: the source's name, "_L" or "_R" when the source has more
    than one channel, "_Processed" when the track has processed output, then extension (with its dot). A track that knows
    no source file gives its own name, without what file systems don't take. Names that would exceed 255 bytes are
    shortened in that part.
*/
[[nodiscard]] juce::String exportFileName (const SessionTrack& track, const juce::String& extension);

struct ExportOptions
{
    juce::File folder;               // created when missing
    juce::String extension = ".wav"; // ".wav", ".aiff" or ".aif"
    bool overwrite = false;          // replace files that exist
    OutputRules* rules = nullptr; // that every file is claimed from; null: only the tracks' own files count
    FileSystemCalls* calls = nullptr; // null: those of the operating system
};

/** The files that exporting these tracks writes, indexed like the tracks. Two tracks never share a name, upper and
    lower case counting as equal: the later one gets "_2", "_3" and so on before the extension.
*/
[[nodiscard]] std::vector<juce::File> planExport (std::span<const SessionTrack> tracks,
                                                  const ExportOptions& options);

/** The files that exporting the components of these tracks writes, ten for each. */
[[nodiscard]] std::vector<juce::File> planComponents (std::span<const SessionTrack> tracks,
                                                      const ExportOptions& options);

/** What became of one track. */
struct TrackExport
{
    juce::File file;
    bool written = false;
    juce::String error;      // file and reason when not written and not stopped
    std::uint64_t bytes = 0; // size of the file
    ExportSampleFormat format;
    std::int64_t clippedSamples = 0; // beyond full scale by more than a step, integer formats only
    float peak = 0.0f;               // largest magnitude before clipping, full scale 1.0
    /** Energy of the output over energy of the source, as 10 log10: 0 when nothing was removed or the source is
        silent, -3 when half the energy is gone; never below -200.
    */
    double removedDb = 0.0;
    /** Energy of what was taken away, source minus output, over energy of the source: -200 when nothing was, -10 when
        what is gone holds a tenth of the source's energy.
    */
    double removedPartDb = -200.0;
};

/** Something that happened to one file, and that the user should know. */
struct ExportRemark
{
    juce::File file;
    juce::String text; // "File already exists - Overwritting."
};

struct ExportReport
{
    std::vector<TrackExport> tracks; // indexed like the tracks given
    std::vector<juce::File> componentFiles;
    std::vector<ExportRemark> remarks; // in the order in which they came
    juce::StringArray errors;          // file and reason of everything that was not written
    bool stopped = false;              // what was complete by then is kept, nothing else

    /** The remarks as the lines of a log: "Snare_Processed.wav - File already exists - Overwritting." */
    [[nodiscard]] juce::StringArray log() const;

    /** The texts of the remarks on one file. */
    [[nodiscard]] juce::StringArray remarksOn (const juce::File& file) const;

    [[nodiscard]] bool allWritten() const { return ! stopped && errors.isEmpty(); }
};

/** Writes each track's output to a file of its own: mono, the track's own rate and length, the source's bit depth and
    metadata. Tracks without processed output are written as their source is.

    A file appears under its name only when it is complete and was read back; an existing one stays untouched until
    then and is replaced only with options.overwrite. No source of the tracks is replaced, and no group file that their
    audio lies in, nor what options.rules protect. A track that fails is reported and the others go on.
*/
[[nodiscard]] ExportReport exportTracks (std::span<const SessionTrack> tracks,
                                         const ExportOptions& options,
                                         const WorkControl& control = {});

/** As exportTracks(), to files that planExport() has named: after it for all tracks, some of them may be tried again, and
    go where they would have gone.
*/
[[nodiscard]] ExportReport exportTracks (std::span<const SessionTrack> tracks,
                                         const std::vector<juce::File>& files,
                                         const ExportOptions& options,
                                         const WorkControl& control = {});

/** Writes one track to a file of any name, under the same promises: of options only overwrite and calls count. The
    extension of the file decides its type; one that has none gets ".wav".
*/
[[nodiscard]] ExportReport exportTrackTo (const juce::File& target,
                                          const SessionTrack& track,
                                          const ExportOptions& options,
                                          const WorkControl& control = {});

/** Writes the ten component signals of every track that has them as NAME_Component01.wav, best first, to ..10.wav:
    32-bit float, under the same promises. report.tracks stays empty.
*/
[[nodiscard]] ExportReport exportComponents (std::span<const SessionTrack> tracks,
                                             const ExportOptions& options,
                                             const WorkControl& control = {});

} // namespace tessivar
