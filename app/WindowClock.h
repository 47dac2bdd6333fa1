#pragma once

#include <juce_events/juce_events.h>

#include <functional>

namespace tessivar
{

/** Paces what the window shows: sixty frames a second while something moves, four otherwise. Message thread
    only.
*/
class WindowClock final : private juce::Timer
{
public:
    WindowClock() = default;

    void start();
    void stop() { stopTimer(); }

    /** Frames for so many seconds from now on, at least. */
    void animateFor (double seconds);

    /** Whether frames were asked for beyond this one. */
    [[nodiscard]] bool isAnimating() const { return frameTime < animateUntil; }

    /** Every frame: when it is, and how much later than the last one, in seconds. Returns whether something
        moves by itself and wants the next one soon. */
    std::function<bool (double time, double elapsed)> onFrame = [] (double, double) { return false; };

    /** Four times a second, and every second; after the frame. */
    std::function<void()> onSlowTick = [] {}, onSecond = [] {};

    static constexpr double slowTickSeconds = 0.25;

private:
    void timerCallback() override;

    double frameTime = 0.0, animateUntil = 0.0, lastSlowTick = 0.0, lastSecond = 0.0; // seconds

    JUCE_DECLARE_NON_COPYABLE (WindowClock)
};

} // namespace tessivar
