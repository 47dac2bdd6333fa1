#pragma once

#include "ui/wave/WaveViewState.h"

namespace tessivar
{

/** Modifier keys that change what the mouse does in the waveform; ctrl is Cmd on macOS. */
struct WaveModifiers
{
    bool shift = false;
    bool ctrl = false;
};

/** One wheel event over the plot at x. `deltaX` and `deltaY` are steps of a notched wheel, fractions of them
    for pads; up and left are positive. Plain: scrolls by a twelfth of the view a step; Shift: by half of it;
    Ctrl: horizontal zoom by 0.03, anchored at x; Ctrl and Shift: vertical zoom by 0.05. Returns whether the
    view changed.
*/
bool applyWaveWheel (WaveViewState& state, double x, double deltaX, double deltaY, WaveModifiers modifiers);

/** Steps of the zoom buttons and keys. */
inline constexpr double waveZoomStep = 0.05;

/** A drag of the overview's frame, or a click outside it, turned into a start time for the view.
    `overviewWidth` logical pixels show the whole track. */
struct OverviewDrag
{
    /** Mouse down at x: inside the frame, holds it at that point; outside, the frame jumps and centres on the
        mouse. */
    static OverviewDrag begin (WaveViewState& state, double x, double overviewWidth) noexcept;
    void moveTo (WaveViewState& state, double x, double overviewWidth) const noexcept;

    double grabOffset = 0.0; // s from the view's start to the point held
};

/** Which end of the selection lies under the mouse. */
enum class LoopGrip
{
    none,
    start,
    end
};

/** The grip within 7 pixels of x; the nearer one where both are. */
[[nodiscard]] LoopGrip loopGripAt (const WaveViewState& state, double x) noexcept;

/** Moves one grip; pulled past the other end, the two swap. Returns the grip held from then on. */
LoopGrip dragLoopGrip (WaveViewState& state, LoopGrip grip, double seconds) noexcept;

} // namespace tessivar
