#pragma once

#include <optional>
#include <span>

namespace tessivar
{

/** A stretch of time in seconds, start <= end. */
struct WaveRange
{
    double start = 0.0;
    double end = 0.0;

    [[nodiscard]] double length() const noexcept { return end - start; }
    bool operator== (const WaveRange&) const = default;
};

/** What a wave viewer shows of a track, and where: zoom, scroll position, selection, playhead. Arithmetic
    only, no window.

    Times are seconds from the start of the track, x positions logical pixels from the left edge of the plot.
    The visible stretch always lies inside the track.
*/
class WaveViewState
{
public:
    static constexpr double maxHorizontalZoom = 0.9;
    static constexpr double maxVerticalZoom = 1.4;
    static constexpr double shortestView = 0.05; // s, at the largest zoom

    /** Visible seconds at a horizontal zoom for a track of `length` seconds: length * (0.05 / length)^(zoom /
        0.9). A track shorter than 0.05 s is always shown whole. */
    [[nodiscard]] static double visibleLengthFor (double zoom, double length) noexcept;
    /** The zoom, 0 to 0.9, at which `visible` seconds are shown. */
    [[nodiscard]] static double zoomForVisibleLength (double visible, double length) noexcept;
    /** Linear gain of the drawing at a vertical zoom: 60 (zoom - 1) dB. */
    [[nodiscard]] static double displayGainFor (double zoom) noexcept;

    /** Takes a track of another length: keeps zoom and start as far as they fit, cuts selection and playhead.
    */
    void setTrack (double lengthSeconds, double sampleRate) noexcept;
    void setPlotWidth (double pixels) noexcept;

    [[nodiscard]] double lengthSeconds() const noexcept { return length; }
    [[nodiscard]] double sampleRate() const noexcept { return rate; }
    [[nodiscard]] double plotWidth() const noexcept { return width; }
    [[nodiscard]] double viewStart() const noexcept { return start; }
    [[nodiscard]] double visibleLength() const noexcept { return visibleLengthFor (zoom, length); }
    [[nodiscard]] double pixelsPerSecond() const noexcept { return width / visibleLength(); }
    [[nodiscard]] double xForTime (double seconds) const noexcept
    {
        return (seconds - start) * pixelsPerSecond();
    }
    [[nodiscard]] double timeForX (double x) const noexcept { return start + x / pixelsPerSecond(); }
    [[nodiscard]] double clampedTime (double seconds) const noexcept;

    [[nodiscard]] double horizontalZoom() const noexcept { return zoom; }
    [[nodiscard]] double verticalZoom() const noexcept { return heightZoom; }
    [[nodiscard]] double displayGain() const noexcept { return displayGainFor (heightZoom); }

    /** Zooms so that the time at `anchor` keeps its x, as far as the ends of the track allow. */
    void setHorizontalZoom (double newZoom, double anchor) noexcept;
    /** The same, anchored at the playhead while it is in view, else at the centre. */
    void setHorizontalZoom (double newZoom) noexcept;
    void setVerticalZoom (double newZoom) noexcept;
    void setViewStart (double seconds) noexcept;
    void scrollByPixels (double pixels) noexcept { setViewStart (start + pixels / pixelsPerSecond()); }
    void centreOn (double seconds) noexcept { setViewStart (seconds - visibleLength() / 2.0); }
    void fit() noexcept;
    /** Shows a stretch with a twentieth of its length on either side. */
    void zoomTo (WaveRange range) noexcept;

    [[nodiscard]] double playhead() const noexcept { return playheadSeconds; }
    /** Moves the playhead; while following and `isPlaying`, a playhead that leaves the view turns the page
        and stands at a tenth of the new one. Returns whether the view moved. */
    bool setPlayhead (double seconds, bool isPlaying) noexcept;
    void setFollowing (bool shouldFollow) noexcept { following = shouldFollow; }
    [[nodiscard]] bool isInView (double seconds) const noexcept;

    /** The selected stretch, which is what loops. */
    [[nodiscard]] std::optional<WaveRange> selection() const noexcept { return selected; }
    /** Takes the ends in either order, limited to the track and rounded to whole samples. Less than one
        sample clears the selection. */
    void select (double oneEnd, double otherEnd) noexcept;
    void clearSelection() noexcept { selected.reset(); }

    /** The nearest of `targets`, the playhead and the ends of the track within `tolerance` pixels; `seconds`
        if there is none. */
    [[nodiscard]] double
    snapped (double seconds, std::span<const double> targets, double tolerance) const noexcept;

private:
    double length = 0.0;
    double rate = 48000.0;
    double width = 1.0;
    double start = 0.0;
    double zoom = 0.0;
    double heightZoom = 1.0;
    double playheadSeconds = 0.0;
    bool following = true;
    std::optional<WaveRange> selected;
};

} // namespace tessivar
