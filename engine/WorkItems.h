#pragma once

#include "engine/AnalysisResult.h"
#include "engine/numerics/WorkerPool.h"
#include "terms/WorkControl.h"

#include <cstddef>
#include <functional>

namespace tessivar
{

[[nodiscard]] constexpr AnalysisStatus completedIf (bool isDone, AnalysisStatus otherwise)
{
    return isDone ? AnalysisStatus::completed : otherwise;
}

/** Runs items on the workers, in ascending order, until one fails or a stop is requested; returns completed
    or the reason. progress gets the finished share of the items, 0..1, from one thread at a time. */
[[nodiscard]] AnalysisStatus
forEachItem (WorkerPool& pool,
             const WorkControl& control,
             std::size_t numItems,
             const std::function<AnalysisStatus (std::size_t item, int worker)>& work,
             const std::function<void (double)>& progress = {});

} // namespace tessivar
