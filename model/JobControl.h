#pragma once

#include <functional>

namespace tessivar
{

/** How a longer piece of work is watched and stopped. Both may be empty; both are called on the work's own thread. */
struct JobControl
{
    std::function<bool()> shouldStop;
    std::function<void (double)> setProgress; // 0..1, never falls

    [[nodiscard]] bool isStopped() const { return shouldStop && shouldStop(); }

    void progress (double fraction) const
    {
        if (setProgress)
            setProgress (fraction);
    }
};

} // namespace tessivar
