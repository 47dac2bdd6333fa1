#include "ui/wave/WaveViewState.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

double WaveViewState::visibleLengthFor (double zoom, double length) noexcept
{
    // An empty track shows one second, so that no conversion divides by 0.
    if (length <= 0.0)
        return 1.0;
    if (length <= shortestView)
        return length;
    return length * std::pow (shortestView / length, zoom / maxHorizontalZoom);
}

double WaveViewState::zoomForVisibleLength (double visible, double length) noexcept
{
    if (length <= shortestView || visible >= length)
        return 0.0;
    const auto unlimited = maxHorizontalZoom * std::log (std::max (visible, shortestView) / length)
                           / std::log (shortestView / length);
    return std::clamp (unlimited, 0.0, maxHorizontalZoom);
}

double WaveViewState::displayGainFor (double zoom) noexcept
{
    return std::pow (10.0, 60.0 * (zoom - 1.0) / 20.0);
}

void WaveViewState::setTrack (double lengthSeconds, double sampleRate) noexcept
{
    length = std::max (lengthSeconds, 0.0);
    rate = sampleRate > 0.0 ? sampleRate : 48000.0;
    playheadSeconds = clampedTime (playheadSeconds);
    if (selected.has_value())
        select (selected->start, selected->end);
    setViewStart (start);
}

void WaveViewState::setPlotWidth (double pixels) noexcept
{
    width = std::max (pixels, 1.0);
}

double WaveViewState::clampedTime (double seconds) const noexcept
{
    return std::clamp (seconds, 0.0, length);
}

void WaveViewState::setHorizontalZoom (double newZoom, double anchor) noexcept
{
    const auto anchorShare = (anchor - start) / visibleLength();
    zoom = std::clamp (newZoom, 0.0, maxHorizontalZoom);
    setViewStart (anchor - anchorShare * visibleLength());
}

void WaveViewState::setHorizontalZoom (double newZoom) noexcept
{
    setHorizontalZoom (newZoom, isInView (playheadSeconds) ? playheadSeconds : start + visibleLength() / 2.0);
}

void WaveViewState::setVerticalZoom (double newZoom) noexcept
{
    heightZoom = std::clamp (newZoom, 0.0, maxVerticalZoom);
}

void WaveViewState::setViewStart (double seconds) noexcept
{
    start = std::clamp (seconds, 0.0, std::max (length - visibleLength(), 0.0));
}

void WaveViewState::fit() noexcept
{
    zoom = 0.0;
    start = 0.0;
}

void WaveViewState::zoomTo (WaveRange range) noexcept
{
    zoom = zoomForVisibleLength (range.length() * 1.1, length);
    centreOn ((range.start + range.end) / 2.0);
}

bool WaveViewState::setPlayhead (double seconds, bool isPlaying) noexcept
{
    playheadSeconds = clampedTime (seconds);
    if (! following || ! isPlaying || isInView (playheadSeconds))
        return false;
    const auto before = start;
    setViewStart (playheadSeconds - visibleLength() / 10.0);
    return start != before;
}

bool WaveViewState::isInView (double seconds) const noexcept
{
    return seconds >= start && seconds <= start + visibleLength();
}

void WaveViewState::select (double oneEnd, double otherEnd) noexcept
{
    const auto onSample = [this] (double seconds)
    { return std::round (clampedTime (seconds) * rate) / rate; };
    const WaveRange range{ onSample (std::min (oneEnd, otherEnd)), onSample (std::max (oneEnd, otherEnd)) };
    if (range.length() > 0.5 / rate)
        selected = range;
    else
        selected.reset();
}

double
WaveViewState::snapped (double seconds, std::span<const double> targets, double tolerance) const noexcept
{
    auto best = seconds;
    auto bestDistance = tolerance / pixelsPerSecond();
    const auto consider = [&] (double target)
    {
        if (const auto distance = std::abs (target - seconds); distance <= bestDistance)
        {
            best = target;
            bestDistance = distance;
        }
    };
    for (const auto target : targets)
        consider (target);
    consider (playheadSeconds);
    consider (0.0);
    consider (length);
    return best;
}

} // namespace tessivar
