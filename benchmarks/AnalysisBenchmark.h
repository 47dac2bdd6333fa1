#pragma once

#include "benchmarks/BenchmarkOptions.h"
#include "benchmarks/Report.h"

namespace tessivar::benchmarks
{

/** Whole analyses of synthetic drums with sources, scratch and results in files: wall and CPU time, share of
    the stages, memory. Each runs in a process of its own, so that its peak memory can be read. */
[[nodiscard]] Findings benchmarkAnalysis (const BenchmarkOptions& options);

/** What such a process does: analyses the tracks in folder and prints its figures as one line of JSON.
    Returns the exit code. */
int analyseInThisProcess (const std::string& folder,
                          int numTracks,
                          int numThreads,
                          const std::string& method);

} // namespace tessivar::benchmarks
