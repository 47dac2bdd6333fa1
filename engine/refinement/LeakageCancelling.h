#pragma once

#include "engine/refinement/RefinementRun.h"

#include <span>
#include <vector>

namespace tessivar::refinement
{

/** Fourth pass: subtracts from every microphone what the masked drums of the others give in it (LeakagePaths), phase and all.
    What is left, its own drum above all, replaces what finePlane() held, and the layers are made of it. A mask can only turn
    down a bin in which the own drum and leakage sound together; this takes the leakage out from under the drum.
*/
class LeakageCancelling
{
public:
    explicit LeakageCancelling (RefinementRun& r) : run (r) {}

    /** Call after matchFocus() of all tracks. */
    [[nodiscard]] bool cancel (ProgressRange progress);

    /** Whether anything was subtracted from a track. */
    [[nodiscard]] bool isCancelled (std::size_t track) const
    {
        return track < cancelled.size() && cancelled[track] != 0;
    }

    /** What is left of a track from sample start on, zeros outside it. */
    [[nodiscard]] static bool
    read (RefinementRun& run, std::size_t track, std::int64_t start, std::span<float> samples);

private:
    RefinementRun& run;
    std::vector<char> cancelled;
};

} // namespace tessivar::refinement
