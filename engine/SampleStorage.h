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

/** Where an analysis keeps what does not fit in memory. Called on the thread that runs the analysis. */
class AnalysisStorage
{
public:
    virtual ~AnalysisStorage() = default;

    /** Planes of lengthInSamples floats each, used for one track after the other and released at the end.
        Returns null when there is no room. */
    virtual ScratchPlanes* scratch (int numPlanes, std::int64_t lengthInSamples) = 0;

    /** The sink for the seven channels of the track with this index; null when there is no room. */
    virtual RenderedTrackSink* rendered (int trackIndex) = 0;

    /** Refined method only, after the last standard track: more planes, beside the scratch planes. */
    virtual ScratchPlanes* spectrograms (int /*numPlanes*/, std::int64_t /*floatsPerPlane*/)
    {
        return nullptr;
    }

    /** Refined method only: reads back what the track's first sink took. */
    virtual RenderedTrackSource* standard (int /*trackIndex*/) { return nullptr; }

    /** Refined method only: a second sink for the track, which replaces the first when the analysis
        completes. Called track by track; each call says that the standard channels of the track before are no
        longer needed. */
    virtual RenderedTrackSink* refined (int /*trackIndex*/) { return nullptr; }

    /** Only with keepAllComponents: the next samples of a component slot (0 = best) of a track, own length,
        in order, slot after slot. */
    [[nodiscard]] virtual bool
    component (int /*trackIndex*/, int /*slot*/, std::span<const float> /*samples*/)
    {
        return true;
    }
};

} // namespace tessivar
