#pragma once

#include <string>

namespace tessivar::benchmarks
{

/** Floats in the widest vectors a SIMD target computes with: 4, 8 or 16. */
[[nodiscard]] int vectorWidth (const std::string& simdTarget);

/** Flops per second of one core for fused multiply-adds on vectors of 8 or 16 floats; NaN for another width
    or a processor without them. Takes some 10 ms. */
[[nodiscard]] double fmaPeak (int width);

/** Model, instruction sets and caches of the processor in one line. */
[[nodiscard]] std::string describeMachine();

} // namespace tessivar::benchmarks
