#pragma once

#include "terms/ChannelLayout.h"
#include "ui/wave/ChannelEnergyPyramid.h"
#include "ui/wave/WaveViewState.h"

#include <optional>
#include <span>
#include <vector>

namespace tessivar
{

/** Where the loud hits of a track begin, in seconds, ascending, accurate to a base block (5 ms at 48 kHz);
    see terms/HitFinding. `processed` may be null; with it, heights are those of the processed signal as
    estimated with `weights`, and leakage from other drums counts for little. Reads every ready base block
    once: about 5 ms for 20 minutes.
*/
[[nodiscard]] std::vector<double> findStrongHits (const EnvelopePyramid& source,
                                                  const ChannelEnergyPyramid* processed,
                                                  const ChannelWeights& weights,
                                                  double sampleRate);

/** From the last hit at or before `seconds` to the first one after it; the ends of the track stand in for
    missing hits. */
[[nodiscard]] WaveRange rangeBetweenHits (std::span<const double> hits, double seconds, double lengthSeconds);

/** The first hit after `seconds` when `step` is positive, else the last one before. */
[[nodiscard]] std::optional<double> hitBeside (std::span<const double> hits, double seconds, int step);

/** A selection one hit longer at its end, or at its beginning when `step` is negative. Without one, or where
    a playhead at `seconds` lies outside of it: the stretch between hits that the playhead is in or, with a
    negative step, stands behind.
*/
[[nodiscard]] WaveRange extendedToHit (std::span<const double> hits,
                                       std::optional<WaveRange> selection,
                                       double seconds,
                                       int step,
                                       double lengthSeconds);

} // namespace tessivar
