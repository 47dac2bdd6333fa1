#pragma once

#include <string>
#include <vector>

namespace tessivar
{

struct SelfTestLine
{
    std::string name;
    bool ok = false;
    std::string detail;
};

/** Checks an installation: every data file has its exact size; at each of the five rates a signal that is cut
    into frames, transformed and put together again is within 2e-6 of full scale; the decomposition gives the
    same bits on every SIMD target of this machine. Takes about a second. Not while an analysis runs. */
[[nodiscard]] std::vector<SelfTestLine> runSelfTest (const std::string& resourceFolder);

} // namespace tessivar
