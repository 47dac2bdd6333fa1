#pragma once

#include "benchmarks/BenchmarkOptions.h"
#include "benchmarks/Report.h"

namespace tessivar::benchmarks
{

/** One iteration of decompose() compared with the same iteration composed of whole-array library calls on the
    same number of threads, for every length, thread count and SIMD target. */
[[nodiscard]] Findings benchmarkDecomposition (const BenchmarkOptions& options);

} // namespace tessivar::benchmarks
