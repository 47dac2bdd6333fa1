#pragma once

#include "engine/SpectrumColumns.h"
#include "model/TrackSamples.h"
#include "terms/SpectrumTile.h"

#include <functional>
#include <optional>
#include <vector>

namespace tessivar
{

/** Computes tiles of spectrograms from a track's samples, for one sample rate and on one thread at a time.
    Takes about 2 MB of memory.

    A column shorter than a window shows the window around its middle; a longer one the mean power of at most
    eight windows, so that a tile of a wide view reads no more than any other.
*/
class SpectrumReading
{
public:
    explicit SpectrumReading (double sampleRate);

    /** Fills a tile whose place is set: its source, unless it is there already, and what these weights keep,
        when they are given and the track is rendered. What can't be read, and what isn't finite, is silent.
        Returns false, with a tile to be thrown away, as soon as shouldStop() says so.
    */
    [[nodiscard]] bool read (TrackSamples& samples,
                             const std::optional<ChannelWeights>& weights,
                             SpectrumTile& tile,
                             const std::function<bool()>& shouldStop);

private:
    static constexpr std::size_t windowsAtOnce = BlockFft::numFrames;

    /** Frames from start on, zeros outside the track, into `source` and, where wanted, `kept` at this place.
    */
    void readSignals (TrackSamples& samples,
                      const std::optional<ChannelWeights>& weights,
                      std::int64_t start,
                      std::size_t count,
                      std::size_t at);

    const SpectrumGrid grid;
    SpectrumColumns columns;
    std::vector<float> source, kept, planes;
    std::vector<float> levels; // of the windows transformed at once
};

} // namespace tessivar
