#pragma once

#include "engine/SampleStorage.h"
#include "engine/refinement/RefinementSpectra.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>

namespace tessivar::refinement
{

/** Handle of a scratch plane of 16-bit codes, two to a float. A pass that overwrites a plane takes the handle
    and returns one of another type, so that a plane can't be read as what it no longer holds. Several threads
    may use different ranges at once. */
class Plane
{
public:
    Plane (ScratchPlanes& scratch, int planeIndex, const SpectrumShape& spectra)
        : planes (&scratch), index (planeIndex), shape (&spectra)
    {
    }

    Plane (Plane&& other) noexcept
        : planes (std::exchange (other.planes, nullptr)), index (other.index), shape (other.shape)
    {
    }

    Plane (const Plane&) = delete;
    Plane& operator= (const Plane&) = delete;
    Plane& operator= (Plane&&) = delete;

protected:
    [[nodiscard]] bool writeCodes (std::size_t start, std::span<const std::uint16_t> codes) const
    {
        return planes->write (index,
                              static_cast<std::int64_t> (start / 2),
                              { reinterpret_cast<const float*> (codes.data()), codes.size() / 2 });
    }

    [[nodiscard]] bool readCodes (std::size_t start, std::span<std::uint16_t> codes) const
    {
        return planes->read (index,
                             static_cast<std::int64_t> (start / 2),
                             { reinterpret_cast<float*> (codes.data()), codes.size() / 2 });
    }

    ScratchPlanes* planes;
    int index;
    const SpectrumShape* shape;
};

/** Codes of powers by segment of 256 frames, bin and frame: what works on the whole length of a bin reads
    this.
*/
class TilePlane : public Plane
{
public:
    explicit TilePlane (Plane&& plane) : Plane (std::move (plane)) {}

    /** Whole bins of a segment from firstBin on. */
    [[nodiscard]] bool
    write (std::size_t segment, std::size_t firstBin, std::span<const std::uint16_t> codes) const
    {
        return writeCodes (segment * shape->tileCodes() + firstBin * tileFrames, codes);
    }

    [[nodiscard]] bool read (std::size_t segment, std::size_t firstBin, std::span<std::uint16_t> codes) const
    {
        return readCodes (segment * shape->tileCodes() + firstBin * tileFrames, codes);
    }
};

/** Log ratios of own drum and leakage, where the upper halves of the power were. */
class LogRatioTiles : public TilePlane
{
public:
    using TilePlane::TilePlane;
};

/** Codes by block of sixteen frames, bin and frame, so that a block is read in one piece. */
class BlockPlane : public Plane
{
public:
    explicit BlockPlane (Plane&& plane) : Plane (std::move (plane)) {}

    /** Whole blocks from first on. */
    [[nodiscard]] bool write (std::size_t first, std::span<const std::uint16_t> codes) const
    {
        return writeCodes (first * shape->blockCodes(), codes);
    }

    [[nodiscard]] bool readBlock (std::int64_t block, std::span<std::uint16_t> codes) const
    {
        return readCodes (static_cast<std::size_t> (block) * shape->blockCodes(), codes);
    }
};

/** A track's mask. */
class MaskPlane : public BlockPlane
{
public:
    using BlockPlane::BlockPlane;
};

/** A track's log ratios, where their tiles were. */
class LogRatioPlane : public BlockPlane
{
public:
    using BlockPlane::BlockPlane;
};

/** Samples of a signal as long as the Group. */
class SamplePlane : public Plane
{
public:
    explicit SamplePlane (Plane&& plane) : Plane (std::move (plane)) {}

    [[nodiscard]] bool write (std::int64_t start, std::span<const float> samples) const
    {
        return planes->write (index, start, samples);
    }

    /** Zeros before and past the signal. */
    [[nodiscard]] bool read (std::int64_t start, std::span<float> samples) const
    {
        const auto end = start + static_cast<std::int64_t> (samples.size());
        const auto first = std::clamp<std::int64_t> (0, start, end);
        const auto last = std::clamp<std::int64_t> (shape->length, first, end);
        std::fill (samples.begin(), samples.end(), 0.0f);
        return first == last
               || planes->read (index,
                                first,
                                samples.subspan (static_cast<std::size_t> (first - start),
                                                 static_cast<std::size_t> (last - first)));
    }
};

} // namespace tessivar::refinement
