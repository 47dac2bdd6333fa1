#pragma once

#include "jobs/ExportPlan.h"
#include "platform/FileSystemCalls.h"
#include "terms/Outcome.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <span>
#include <vector>

namespace tessivar
{

/** What became of one track. */
struct TrackExport
{
    juce::File file;
    Outcome outcome = Outcome::stopped(); // ok once the file is written
    std::uint64_t bytes = 0;              // size of the file
    ExportSampleFormat format;
    std::int64_t clippedSamples = 0; // beyond full scale by more than a step, integer formats only
    float peak = 0.0f;               // largest magnitude before clipping, full scale 1.0
    /** Energy of the output over energy of the source, as 10 log10: 0 when nothing was removed or the source
        is silent, -3 when half the energy is gone; never below -200.
    */
    double removedDb = 0.0;
    /** Energy of what was taken away, source minus output, over energy of the source: -200 when nothing was,
        -10 when what is gone holds a tenth of the source's energy.
    */
    double removedPartDb = -200.0;

    [[nodiscard]] bool isWritten() const { return outcome.isOk(); }
};

/** Something the user should know about one file. */
struct ExportRemark
{
    juce::File file;
    juce::String text; // "File already exists - Overwritting."
};

struct ExportReport
{
    /** Failed when something was not written. After a stop what was complete is kept, and nothing else. */
    Outcome outcome;

    std::vector<TrackExport> tracks; // indexed like the tracks given
    std::vector<juce::File> componentFiles;
    std::vector<ExportRemark> remarks; // in order
    juce::StringArray errors;          // file and reason for everything not written

    /** The remarks as the lines of a log: "Snare_Processed.wav - File already exists - Overwritting." */
    [[nodiscard]] juce::StringArray log() const;

    /** The texts of the remarks on one file. */
    [[nodiscard]] juce::StringArray remarksOn (const juce::File& file) const;
};

/** Writes each track's output to a file of its own: mono, the track's own rate and length, the source's bit
    depth unless options say otherwise, and its metadata. Tracks without processed output are written as their
    source is.

    A file appears under its name only when it is complete and was read back; an existing one stays untouched
    until then and is replaced only with options.overwrite. No source of the tracks is replaced, and no group
    file that holds their audio, nor what options.rules protect. A track that fails is reported while the
    others go on.
*/
[[nodiscard]] ExportReport exportTracks (std::span<const TrackState> tracks,
                                         const ExportOptions& options,
                                         const WorkControl& control = {});

/** As exportTracks(), to files named before by planExport(): tracks that failed are tried again under the
    names they had among all tracks.
*/
[[nodiscard]] ExportReport exportTracks (std::span<const TrackState> tracks,
                                         std::span<const PlannedFile> files,
                                         const ExportOptions& options,
                                         const WorkControl& control = {});

/** Writes one track to a file of any name, with the same guarantees; of options only depth, overwrite,
    rules and calls count. The extension decides the type; a file without one gets ".wav".
*/
[[nodiscard]] ExportReport exportTrackTo (const juce::File& target,
                                          const TrackState& track,
                                          const ExportOptions& options,
                                          const WorkControl& control = {});

/** Writes the ten component signals of every track that has them as NAME_Component01.wav, best first, to
    ..10.wav: 32-bit float, with the same guarantees. report.tracks stays empty.
*/
[[nodiscard]] ExportReport exportComponents (std::span<const TrackState> tracks,
                                             const ExportOptions& options,
                                             const WorkControl& control = {});

} // namespace tessivar
