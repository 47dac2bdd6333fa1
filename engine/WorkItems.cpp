#include "engine/WorkItems.h"

#include <atomic>
#include <mutex>

namespace tessivar
{

AnalysisStatus forEachItem (WorkerPool& pool,
                            const WorkControl& control,
                            std::size_t numItems,
                            const std::function<AnalysisStatus (std::size_t, int)>& work,
                            const std::function<void (double)>& progress)
{
    std::atomic<AnalysisStatus> status{ AnalysisStatus::completed };
    std::mutex progressLock; // guards numDone
    std::size_t numDone = 0;

    pool.forEach (numItems,
                  [&] (std::size_t item, int worker)
                  {
                      if (status != AnalysisStatus::completed)
                          return;

                      const auto outcome =
                          control.stopRequested() ? AnalysisStatus::stopped : work (item, worker);

                      if (outcome != AnalysisStatus::completed)
                      {
                          status = outcome;
                          return;
                      }

                      const std::lock_guard lock (progressLock);
                      ++numDone;

                      if (progress)
                          progress (static_cast<double> (numDone) / static_cast<double> (numItems));
                  });
    return status;
}

} // namespace tessivar
