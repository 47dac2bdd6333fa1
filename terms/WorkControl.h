#pragma once

#include <functional>

namespace tessivar
{

/** How a longer piece of work is watched and stopped. Both functions may be empty.

    shouldStop() may be called on any worker thread and has to be cheap; the work asks at least every 200 ms.
    setProgress (0..1) is called on one thread at a time, with values that never fall.
*/
struct WorkControl
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
