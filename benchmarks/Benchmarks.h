#pragma once

#include "benchmarks/Measurement.h"
#include "benchmarks/Report.h"

#include <string>
#include <vector>

namespace tessivar::benchmarks
{

struct BenchmarkOptions
{
    int numTracks = 8;
    std::vector<int> seconds{ 60, 300 }; // lengths of the performance, ascending
    std::vector<int> threads{ 1, 2 };
    std::vector<std::string> simdTargets;                      // names, best first
    std::vector<std::string> methods{ "standard", "refined" }; // of whole analyses and runs
    RoundPolicy rounds;
    int analysisRounds = 3;      // of whole analyses and runs, which take many seconds
    std::string temporaryFolder; // must exist; holds the files of analyses and runs
    std::string programFolder;   // this build's programs
    std::string against;         // another version's programs, or empty

    [[nodiscard]] RoundPolicy analysisPolicy() const
    {
        auto policy = rounds;
        policy.numRounds = analysisRounds;
        return policy;
    }
};

/** The limits of the processor: fused multiply-adds, divisions, reading from caches and memory. */
[[nodiscard]] Findings benchmarkMachine (const BenchmarkOptions& options);

/** One iteration of the decomposition, for every length, number of threads and SIMD target, beside the
    whole-array form over OpenBLAS. */
[[nodiscard]] Findings benchmarkDecomposition (const BenchmarkOptions& options);

/** Rendering the components of one track, for three frame lengths and every SIMD target, beside FFTW frame by
    frame. CPU time, one thread. */
[[nodiscard]] Findings benchmarkRendering (const BenchmarkOptions& options);

/** Whole analyses of synthetic drums with sources and results in files, this version's and another one's in
    turns: time, its stages, memory. Each runs in a process of its own, so that its memory can be told. */
[[nodiscard]] Findings benchmarkAnalysis (const BenchmarkOptions& options);

/** What such a process does: analyses the tracks in folder and prints its figures as one line of JSON.
    Returns the exit code. */
int analyseInThisProcess (const std::string& folder,
                          int numTracks,
                          int numThreads,
                          const std::string& method);

/** Whole runs of the command line on synthetic drums, this version's and another one's in turns: time, bytes
    written, temporary files, memory. */
[[nodiscard]] Findings benchmarkProcess (const BenchmarkOptions& options);

/** One run of 24 tracks of 20 minutes at 48 kHz by the last of the methods, with the most threads. */
[[nodiscard]] Findings benchmarkLongRun (const BenchmarkOptions& options);

} // namespace tessivar::benchmarks
