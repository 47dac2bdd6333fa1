#include "app/WindowClock.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr int fastHz = 60, slowHz = static_cast<int> (1.0 / WindowClock::slowTickSeconds);

double now()
{
    return juce::Time::getMillisecondCounterHiRes() / 1000.0;
}
} // namespace

void WindowClock::start()
{
    frameTime = now();
    startTimerHz (slowHz);
}

void WindowClock::animateFor (double seconds)
{
    animateUntil = std::max (animateUntil, now() + seconds);

    if (getTimerInterval() > 1000 / fastHz)
        startTimerHz (fastHz);
}

void WindowClock::timerCallback()
{
    const auto time = now();
    const auto elapsed = time - std::exchange (frameTime, time);
    const auto isMoving = onFrame (time, elapsed);

    if (time - lastSlowTick >= slowTickSeconds)
    {
        lastSlowTick = time;
        onSlowTick();
    }

    if (time - lastSecond >= 1.0)
    {
        lastSecond = time;
        onSecond();
    }

    if (! isMoving && ! isAnimating() && getTimerInterval() < 1000 / slowHz)
        startTimerHz (slowHz);
}

} // namespace tessivar
