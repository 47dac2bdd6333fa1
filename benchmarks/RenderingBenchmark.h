#pragma once

#include "benchmarks/BenchmarkOptions.h"
#include "benchmarks/Report.h"

namespace tessivar::benchmarks
{

/** Rendering the ten component signals of one track on one thread, at the three frame lengths and every SIMD
    target, compared with FFTW frame by frame: CPU nanoseconds per frame. */
[[nodiscard]] Findings benchmarkRendering (const BenchmarkOptions& options);

} // namespace tessivar::benchmarks
