#include "report/ReportJob.h"

#include "engine/numerics/WorkerPool.h"
#include "model/Outcomes.h"
#include "platform/AtomicFile.h"
#include "platform/Folders.h"
#include "report/ReportPage.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <optional>

namespace tessivar
{

namespace
{
constexpr double measuringShare = 0.8; // of the time

/** Measures every track, several at a time. */
std::vector<TrackMeasurement> measureTracks (const ReportContent& content,
                                             const PictureAxis& axis,
                                             int numThreads,
                                             const WorkControl& control)
{
    const auto& tracks = content.group.tracks;
    std::vector<TrackMeasurement> measurements (tracks.size());
    auto totalSamples = 1.0;

    for (const auto& track : tracks)
        totalSamples += static_cast<double> (track.lengthInSamples());

    std::mutex progressLock; // guards samplesDone, and that one thread at a time tells it
    auto samplesDone = 0.0;
    const WorkControl controlOfTracks{ control.shouldStop,
                                       [&] (double samples)
                                       {
                                           const std::lock_guard lock (progressLock);
                                           samplesDone += samples;
                                           control.progress (measuringShare * samplesDone / totalSamples);
                                       } };
    WorkerPool pool (std::clamp (numThreads, 1, std::max (1, static_cast<int> (tracks.size()))));
    std::vector<std::unique_ptr<SpectrumColumns>> spectra (static_cast<std::size_t> (pool.numWorkers()));
    pool.forEach (tracks.size(),
                  [&] (std::size_t index, int worker)
                  {
                      auto& own = spectra[static_cast<std::size_t> (worker)];

                      if (own == nullptr)
                          own = std::make_unique<SpectrumColumns> (axis.sampleRate);

                      measurements[index] =
                          measureTrack (tracks[index], content.exportOf (index), axis, *own, controlOfTracks);
                  });
    return measurements;
}

Outcome write (const ReportContent& content, const ReportOptions& options, const WorkControl& control)
{
    OutputRules ownRules;
    auto& rules = options.rules != nullptr ? *options.rules : ownRules;
    rules.protect (content.group);

    if (const auto claimed = rules.claimFile (options.file, options.overwrite); claimed.failed())
        return Outcome::refused (claimed.getErrorMessage().toStdString());

    if (content.group.tracks.empty() || content.group.sampleRate() <= 0.0)
        return Outcome::refused (
            (options.file.getFullPathName() + ": the Group has no tracks to report on").toStdString());

    const auto axis = PictureAxis::of (content.group);
    const auto measurements = measureTracks (content, axis, options.numThreads, control);

    if (control.stopRequested())
        return Outcome::stopped();

    if (const auto made = makeFolder (options.file.getParentDirectory()); made.failed())
        return outcomeOf (made);

    AtomicFile file (options.file, options.calls != nullptr ? *options.calls : FileSystemCalls::system());

    if (const auto opened = file.open(); opened.failed())
        return outcomeOf (opened);

    const WorkControl controlOfPage{ control.shouldStop, [&] (double fraction) {
                                        control.progress (measuringShare + (1.0 - measuringShare) * fraction);
                                    } };

    if (const auto page = writePage (file,
                                     content,
                                     factsOf (content, measurements),
                                     measurements,
                                     axis,
                                     options.withAudio,
                                     controlOfPage);
        ! page.isOk())
        return page;

    return outcomeOf (file.commit (options.overwrite ? AtomicFile::IfTargetExists::replace
                                                     : AtomicFile::IfTargetExists::fail));
}
} // namespace

Outcome writeReport (const ReportContent& content, const ReportOptions& options, const WorkControl& control)
{
    try
    {
        return write (content, options, control);
    }
    catch (const std::bad_alloc&)
    {
        return Outcome::noRoom (
            (options.file.getFullPathName() + ": memory has run out for the report").toStdString());
    }
}

} // namespace tessivar
