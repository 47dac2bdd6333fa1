#pragma once

#include <string>
#include <vector>

namespace tessivar
{

/** Name of the instruction set the kernels run on, chosen at run time: "SSE4", "AVX2", "AVX3" (AVX-512). */
[[nodiscard]] std::string simdTargetName();

/** The compiled-in sets that this machine can run, best first. */
[[nodiscard]] std::vector<std::string> availableSimdTargets();

/** Restricts the kernels to one of availableSimdTargets(); an empty name lifts the restriction. Returns false
    when the name isn't available. For tests and benchmarks; not while kernels run. */
bool useSimdTarget (const std::string& name);

} // namespace tessivar
