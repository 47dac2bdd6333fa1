#pragma once

#include "jobs/ExportSignals.h"
#include "jobs/ExportTracks.h"
#include "jobs/MonoFileWriter.h"

#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace tessivar
{

/** A file to write. */
struct ExportTask
{
    juce::File file;
    MonoFilePlan plan;
    std::function<std::unique_ptr<ExportSignal>()>
        makeSignal;          // its memory is taken while the file is written
    juce::StringArray notes; // told once it is written; empty ones aren't
};

/** Writes files, several at a time, and adds to the report in their order. options.numThreads threads compute
    while others wait for the disk: a flush holds nobody up.
*/
[[nodiscard]] std::vector<TrackExport> writeFiles (std::vector<ExportTask> tasks,
                                                   std::span<const TrackState> tracks,
                                                   const ExportOptions& options,
                                                   const WorkControl& control,
                                                   ExportReport& report);

} // namespace tessivar
