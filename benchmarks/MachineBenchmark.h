#pragma once

#include "benchmarks/BenchmarkOptions.h"
#include "benchmarks/Report.h"

namespace tessivar::benchmarks
{

/** Floats in the widest vectors that a SIMD target computes with: 4, 8 or 16. */
[[nodiscard]] int vectorWidth (const std::string& simdTarget);

/** Flops a second of one core, adding and multiplying vectors of 8 or 16 floats by fused instructions; NaN for
    another width or where the processor lacks them. Takes some 10 ms. */
[[nodiscard]] double fmaPeak (int width);

/** Model, instruction sets and caches of the processor in one line. */
[[nodiscard]] std::string describeMachine();

/** What the processor can do at most: fused multiply-adds, divisions, reading from caches and memory. */
[[nodiscard]] Findings benchmarkMachine (const BenchmarkOptions& options);

} // namespace tessivar::benchmarks
