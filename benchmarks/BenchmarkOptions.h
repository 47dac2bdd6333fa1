#pragma once

#include "benchmarks/Measurement.h"

#include <string>
#include <vector>

namespace tessivar::benchmarks
{

struct BenchmarkOptions
{
    int numTracks = 8;
    std::vector<int> seconds{ 60, 300 }; // lengths of the performance
    std::vector<int> threads{ 1, 2 };
    std::vector<std::string> simdTargets;                      // names, best first
    std::vector<std::string> methods{ "standard", "refined" }; // of the whole analysis
    RoundPolicy rounds;
    int analysisRounds = 3;      // of the whole analysis, which takes many seconds
    std::string temporaryFolder; // must exist; holds the files of the analysis
};

} // namespace tessivar::benchmarks
