#include "ui/wave/WaveGestures.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

bool applyWaveWheel (WaveViewState& state, double x, double deltaX, double deltaY, WaveModifiers modifiers)
{
    if (modifiers.ctrl && modifiers.shift)
    {
        const auto before = state.verticalZoom();
        state.setVerticalZoom (before + 0.05 * deltaY);
        return state.verticalZoom() != before;
    }
    if (modifiers.ctrl)
    {
        const auto before = state.horizontalZoom();
        state.setHorizontalZoom (before + 0.03 * deltaY, state.clampedTime (state.timeForX (x)));
        return state.horizontalZoom() != before;
    }

    const auto before = state.viewStart();
    // Some systems turn Shift and wheel into a sideways movement.
    const auto steps = std::abs (deltaX) > std::abs (deltaY) ? deltaX : deltaY;
    state.setViewStart (before - steps * state.visibleLength() / (modifiers.shift ? 2.0 : 12.0));
    return state.viewStart() != before;
}

OverviewDrag OverviewDrag::begin (WaveViewState& state, double x, double overviewWidth) noexcept
{
    const auto seconds = x / std::max (overviewWidth, 1.0) * state.lengthSeconds();
    if (! state.isInView (seconds))
        state.centreOn (seconds);
    return { seconds - state.viewStart() };
}

void OverviewDrag::moveTo (WaveViewState& state, double x, double overviewWidth) const noexcept
{
    state.setViewStart (x / std::max (overviewWidth, 1.0) * state.lengthSeconds() - grabOffset);
}

LoopGrip loopGripAt (const WaveViewState& state, double x) noexcept
{
    constexpr auto reach = 7.0;
    const auto selection = state.selection();
    if (! selection.has_value())
        return LoopGrip::none;
    const auto toStart = std::abs (x - state.xForTime (selection->start));
    const auto toEnd = std::abs (x - state.xForTime (selection->end));
    if (std::min (toStart, toEnd) > reach)
        return LoopGrip::none;
    return toStart < toEnd ? LoopGrip::start : LoopGrip::end;
}

LoopGrip dragLoopGrip (WaveViewState& state, LoopGrip grip, double seconds) noexcept
{
    const auto selection = state.selection();
    if (grip == LoopGrip::none || ! selection.has_value())
        return LoopGrip::none;

    const auto fixedEnd = grip == LoopGrip::start ? selection->end : selection->start;
    const auto moved = state.clampedTime (seconds);
    // A loop shorter than a sample would vanish under the mouse; keep the old one until the mouse moves on.
    if (std::abs (moved - fixedEnd) * state.sampleRate() < 1.0)
        return grip;
    state.select (moved, fixedEnd);
    return moved < fixedEnd ? LoopGrip::start : LoopGrip::end;
}

} // namespace tessivar
