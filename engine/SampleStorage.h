#pragma once

#include "platform/Memory.h"
#include "terms/ChannelFolding.h"
#include "terms/ChannelLayout.h"
#include "terms/TrackFindings.h"

#include <algorithm>
#include <array>
#include <cstddef>
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

/** Large planes of an analysis, rows of floats of equal length, on disk or in memory.

    Reads and writes of different ranges may come from several worker threads at once. What was never written
    is undefined. A false return ends the analysis with storageFailed; the implementation keeps the reason.
*/
class ScratchPlanes
{
public:
    virtual ~ScratchPlanes() = default;

    [[nodiscard]] virtual bool write (int plane, std::int64_t start, std::span<const float> samples) = 0;
    [[nodiscard]] virtual bool read (int plane, std::int64_t start, std::span<float> dest) = 0;

    /** A plane that lies in memory, to be worked on where it is; null for one on disk. */
    [[nodiscard]] virtual float* inMemory (int /*plane*/) { return nullptr; }
};

/** Planes in memory, which is given back when this goes. */
class MemoryPlanes final : public ScratchPlanes
{
public:
    /** Whether planes of so many bytes belong in memory when nothing else is said. */
    [[nodiscard]] static bool areWorth (std::uint64_t numBytes, std::uint64_t freeBytes)
    {
        return numBytes <= freeBytes / 4;
    }

    /** Throws std::bad_alloc when memory runs out. */
    MemoryPlanes (int numPlanes, std::int64_t planeLength)
        : memory (static_cast<std::size_t> (numPlanes) * static_cast<std::size_t> (planeLength)
                      * sizeof (float),
                  LargeMemory::Pages::ordinary), // touched once, in pieces
          length (planeLength)
    {
    }

    [[nodiscard]] bool write (int plane, std::int64_t start, std::span<const float> samples) override
    {
        std::copy (samples.begin(), samples.end(), inMemory (plane) + start);
        return true;
    }

    [[nodiscard]] bool read (int plane, std::int64_t start, std::span<float> dest) override
    {
        std::copy_n (inMemory (plane) + start, dest.size(), dest.begin());
        return true;
    }

    [[nodiscard]] float* inMemory (int plane) override
    {
        return static_cast<float*> (memory.data()) + plane * length;
    }

private:
    LargeMemory memory;
    const std::int64_t length;
};

/** Takes the result of one rendered track: its five best components, best first, before their gain. With the
    source they make the seven channels (terms/ChannelFolding.h). Every sample from 0 to the track's own
    length is written once; ranges come in any order and from several worker threads at once.
*/
class ComponentSink
{
public:
    using Signals = std::array<const float*, channelLayout::numBestComponents>;

    virtual ~ComponentSink() = default;

    /** Components that the sink looks at, from the first on: the others may be null. */
    [[nodiscard]] virtual std::size_t numWanted() const { return channelLayout::numBestComponents; }

    /** Samples start .. start + n - 1 of those that are wanted. One of them that is null is silent in the
        whole track; the first never is. */
    [[nodiscard]] virtual bool write (std::int64_t start, std::size_t n, const Signals& components) = 0;

    /** Once, after the last sample: what the components are to be multiplied with. */
    [[nodiscard]] virtual bool finish (ComponentLevel level) = 0;
};

/** Reads back what a sink took, before its gain; from several threads at once. */
class ComponentSource
{
public:
    using Signals = std::array<float*, channelLayout::numBestComponents>;

    virtual ~ComponentSource() = default;

    [[nodiscard]] virtual std::int64_t lengthInSamples() const = 0;

    /** Samples start .. start + n - 1, which lie inside, of the components whose pointers are not null. */
    [[nodiscard]] virtual bool read (std::int64_t start, std::size_t n, const Signals& components) = 0;
};

/** Where an analysis keeps what does not fit in memory. Called on the thread that runs the analysis. */
class AnalysisStorage
{
public:
    virtual ~AnalysisStorage() = default;

    /** Standard method only: the sink for the best components of the track with this index; null when there
        is no room. */
    virtual ComponentSink* rendered (int trackIndex) = 0;

    /** Reads back what that sink took. */
    virtual ComponentSource* standard (int trackIndex) = 0;

    /** Refined method only, after the last standard track: planes of spectra; null when there is no room. */
    virtual ScratchPlanes* spectrograms (int /*numPlanes*/, std::int64_t /*floatsPerPlane*/)
    {
        return nullptr;
    }

    /** Refined method only: the sink for the layers of a track, of which the findings are known. */
    virtual ComponentSink* refined (int /*trackIndex*/, const TrackFindings& /*findings*/) { return nullptr; }

    /** Only with keepAllComponents: samples of a component slot (0 = best) of a track from start on, at their
        true level. Every sample to the track's own length comes once, in any order, from several threads. */
    [[nodiscard]] virtual bool
    component (int /*trackIndex*/, int /*slot*/, std::int64_t /*start*/, std::span<const float> /*samples*/)
    {
        return true;
    }
};

} // namespace tessivar
