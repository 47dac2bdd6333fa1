#pragma once

#include <cstdint>
#include <span>

namespace tessivar
{

/** Mono samples, full scale 1.0, that the engine reads piece by piece from several worker threads at once. */
class SampleSource
{
public:
    virtual ~SampleSource() = default;

    [[nodiscard]] virtual std::int64_t lengthInSamples() const = 0;

    /** Fills dest with the samples from start on, zeros before 0 and past the end. False when they can't be
        read; the implementation keeps the reason for its owner. */
    [[nodiscard]] virtual bool read (std::int64_t start, std::span<float> dest) = 0;
};

/** Intermediate signals of an analysis, kept outside memory: numPlanes() float signals of equal length.

    Reads and writes of different ranges may come from several worker threads at once. What was never written
    is undefined. A false return ends the analysis with storageFailed; the implementation keeps the reason.
*/
class ScratchPlanes
{
public:
    virtual ~ScratchPlanes() = default;

    [[nodiscard]] virtual bool write (int plane, std::int64_t start, std::span<const float> samples) = 0;
    [[nodiscard]] virtual bool read (int plane, std::int64_t start, std::span<float> dest) = 0;
};

/** Takes the result of one rendered track: seven interleaved channels a frame, 0..4 the five best components,
    5 the residual, 6 the source. Every sample from 0 to the track's own length is written once; ranges come
    in any order and from several worker threads at once.
*/
class RenderedTrackSink
{
public:
    virtual ~RenderedTrackSink() = default;

    /** frames holds 7 * n floats for samples start .. start + n - 1. */
    [[nodiscard]] virtual bool writeFrames (std::int64_t start, std::span<const float> frames) = 0;
};

/** Reads the frames that a sink took, in the same layout; from several threads at once. */
class RenderedTrackSource
{
public:
    virtual ~RenderedTrackSource() = default;

    [[nodiscard]] virtual bool readFrames (std::int64_t start, std::span<float> frames) = 0;
};

} // namespace tessivar
