#pragma once

#include <string>
#include <vector>

namespace tessivar
{

/** Name of the instruction set that the kernels run on, chosen at run time: "SSE4", "AVX2", "AVX3" (AVX-512). */
[[nodiscard]] std::string simdTargetName();

/** The compiled-in sets that this machine can run, best first. */
[[nodiscard]] std::vector<std::string> availableSimdTargets();

/** Restricts the kernels to one of availableSimdTargets(), or with an empty name lifts the restriction. Returns false
    for a name that is not available. For tests and benchmarks; not while kernels run. */
bool useSimdTarget (const std::string& name);

} // namespace tessivar
