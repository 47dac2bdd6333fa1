#include "engine/refinement/RefinementRun.h"

#include "engine/DataFileGenerator.h"

#include <algorithm>
#include <mutex>

namespace tessivar::refinement
{

Workspace::Workspace (const SpectrumShape& shape, std::span<const float> window)
    : sourceFrames (window), outputFrames (window),
      sourcePower (shape, true), outputPower{ PowerStream (shape, false), PowerStream (shape, false),
                                              PowerStream (shape, false), PowerStream (shape, false),
                                              PowerStream (shape, false), PowerStream (shape, false) },
      frame (static_cast<std::size_t> (shape.rate.frameLength)), mask (shape.binStride),
      gains (shape.binStride)
{
}

RefinementRun::RefinementRun (std::span<const RefinementTrack> t,
                              const AnalysisShape& s,
                              WorkerPool& p,
                              const RefinementStorage& st,
                              const WorkControl& c,
                              const std::function<void (double)>& pr,
                              std::vector<TrackAnalysis>& a)
    : tracks (t), shape (s), storage (st), control (c),
      bands (shape.numBins, static_cast<double> (shape.rate.sampleRate) / shape.rate.frameLength), pool (p),
      progress (pr), analyses (a)
{
    const auto weights = dataFiles::sineBellWindow (shape.rate.frameLength);
    window = AlignedBuffer (weights.size());
    std::copy (weights.begin(), weights.end(), window.data());

    gains.resize (shape.binStride * tracks.size() * tracks.size());
    meanPowers.resize (shape.binStride * tracks.size());

    for (int i = 0; i < pool.numWorkers(); ++i)
        workspaces.push_back (std::make_unique<Workspace> (shape, window.span()));
}

bool RefinementRun::openPlanes()
{
    planes =
        PackedPlanes (storage.spectrograms (static_cast<int> (planesPerTrack * tracks.size()),
                                            tileStart (static_cast<std::size_t> (shape.numSegments)) / 2));
    return planes.isOpen() || fail (AnalysisStatus::storageFailed);
}

bool RefinementRun::forEach (std::size_t numItems,
                             ProgressRange progressRange,
                             const std::function<AnalysisStatus (std::size_t, Workspace&)>& work)
{
    std::mutex progressLock; // guards numDone
    std::size_t numDone = 0;

    pool.forEach (
        numItems,
        [&] (std::size_t item, int worker)
        {
            if (failure != AnalysisStatus::completed)
                return;

            const auto outcome = control.stopRequested()
                                     ? AnalysisStatus::stopped
                                     : work (item, *workspaces[static_cast<std::size_t> (worker)]);

            if (outcome != AnalysisStatus::completed)
            {
                failure = outcome;
                return;
            }

            const std::lock_guard lock (progressLock);
            progress (progressRange.at (static_cast<double> (++numDone) / static_cast<double> (numItems)));
        });
    return failure == AnalysisStatus::completed;
}

bool RefinementRun::fail (AnalysisStatus reason)
{
    failure = reason;
    return false;
}

} // namespace tessivar::refinement
