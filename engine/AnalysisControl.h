#pragma once

#include <functional>

namespace tessivar
{

/** How long work is watched and stopped from outside.

    Both functions may be empty. shouldStop() may be asked on any worker thread and must be cheap; the work asks
    it at least every 200 ms. setProgress (0..1) is called on one thread at a time, with values that never fall
    within one piece of work.
*/
struct AnalysisControl
{
    std::function<bool()> shouldStop;
    std::function<void (double)> setProgress;

    [[nodiscard]] bool stopRequested() const { return shouldStop && shouldStop(); }

    void progress (double fraction) const
    {
        if (setProgress)
            setProgress (fraction);
    }
};

} // namespace tessivar
