#pragma once

#include "engine/SampleStorage.h"
#include "engine/refinement/RefinementSpectra.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>

namespace tessivar::refinement
{

/** Handle of a scratch plane of 16-bit codes, two to a float. Codes of a plane in memory are worked on where
    they are, others in room that the caller gives. A pass that overwrites a plane takes the handle
    and returns one of another type, so that a plane can't be read as what it no longer holds. Several threads
    may use different ranges at once. */
class Plane
{
public:
    Plane (ScratchPlanes& scratch, int planeIndex, const SpectrumShape& spectra)
        : planes (&scratch), index (planeIndex), shape (&spectra),
          memory (reinterpret_cast<std::uint16_t*> (scratch.inMemory (index)))
    {
    }

    Plane (Plane&& other) noexcept
        : planes (std::exchange (other.planes, nullptr)), index (other.index), shape (other.shape),
          memory (other.memory)
    {
    }

    Plane (const Plane&) = delete;
    Plane& operator= (const Plane&) = delete;
    Plane& operator= (Plane&&) = delete;

    [[nodiscard]] bool isInMemory() const { return memory != nullptr; }

protected:
    /** Where codes are put before they are written: the plane itself if it lies in memory, else the room. */
    [[nodiscard]] std::span<std::uint16_t> roomAt (std::size_t start, std::span<std::uint16_t> room) const
    {
        return isInMemory() ? std::span (memory + start, room.size()) : room;
    }

    [[nodiscard]] bool writeCodes (std::size_t start, std::span<const std::uint16_t> codes) const
    {
        if (isInMemory() && codes.data() == memory + start)
            return true;

        return planes->write (index,
                              static_cast<std::int64_t> (start / 2),
                              { reinterpret_cast<const float*> (codes.data()), codes.size() / 2 });
    }

    /** Codes where they lie in memory, else read into the room; null when they can't be read. */
    [[nodiscard]] std::uint16_t* readCodes (std::size_t start, std::span<std::uint16_t> room) const
    {
        const auto codes = roomAt (start, room);
        const auto isRead = isInMemory()
                            || planes->read (index,
                                             static_cast<std::int64_t> (start / 2),
                                             { reinterpret_cast<float*> (codes.data()), codes.size() / 2 });
        return isRead ? codes.data() : nullptr;
    }

    ScratchPlanes* planes;
    int index;
    const SpectrumShape* shape;
    std::uint16_t* memory; // null: on disk
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

    /** For the whole segment. */
    [[nodiscard]] std::span<std::uint16_t> roomFor (std::size_t segment, std::span<std::uint16_t> room) const
    {
        return roomAt (segment * shape->tileCodes(), room);
    }

    [[nodiscard]] std::uint16_t*
    read (std::size_t segment, std::size_t firstBin, std::span<std::uint16_t> room) const
    {
        return readCodes (segment * shape->tileCodes() + firstBin * tileFrames, room);
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

    [[nodiscard]] std::span<std::uint16_t> roomFor (std::size_t first, std::span<std::uint16_t> room) const
    {
        return roomAt (first * shape->blockCodes(), room);
    }

    /** The first bins of a block, as many as the room holds. */
    [[nodiscard]] const std::uint16_t* readBlock (std::int64_t block, std::span<std::uint16_t> room) const
    {
        return readCodes (static_cast<std::size_t> (block) * shape->blockCodes(), room);
    }
};

/** A track's mask. */
class MaskPlane : public BlockPlane
{
public:
    using BlockPlane::BlockPlane;
};

/** A track's log ratios. */
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
