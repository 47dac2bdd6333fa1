#pragma once

#include "engine/AnalysisSettings.h"
#include "engine/SampleStorage.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/BlockFft.h"
#include "engine/refinement/RefinedLayers.h"
#include "terms/TrackFindings.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tessivar::refinement
{

inline constexpr std::size_t blockFrames = BlockFft::numFrames;
inline constexpr std::size_t tileFrames = 256, tileBlocks = tileFrames / blockFrames;
inline constexpr int numFocusSteps = TrackFindings::numFocusSteps;

/** Sizes of the refinement's spectra: frames twice as long as those of the analysis, in blocks of sixteen,
    and sixteen blocks to a segment. The first four frames and the last five hold nothing of the signal.
*/
struct SpectrumShape
{
    explicit SpectrumShape (const AnalysisShape& shape);

    [[nodiscard]] double binWidthHz() const
    {
        return static_cast<double> (rate.sampleRate) / rate.frameLength;
    }

    [[nodiscard]] std::size_t tileCodes() const { return numBins * tileFrames; }
    [[nodiscard]] std::size_t blockCodes() const { return numBins * blockFrames; }

    /** Samples from a block's first frame to the next block's. */
    [[nodiscard]] std::size_t blockSamples() const
    {
        return blockFrames * static_cast<std::size_t> (rate.hop);
    }

    /** Hops that a signal begins. */
    [[nodiscard]] std::int64_t hopsOf (std::int64_t signalLength) const
    {
        return (signalLength + rate.hop - 1) / rate.hop;
    }

    RateParameters rate; // with frame length and hop doubled
    std::size_t numBins = 0;
    std::int64_t numFrames = 0, numSegments = 0, length = 0;
};

/** A segment's codes by block, bin and frame as codes by bin and frame, and the other way round. */
void blocksToTile (std::span<std::uint16_t> tile, std::span<const std::uint16_t> blocks);
void tileToBlocks (std::span<std::uint16_t> blocks, std::span<const std::uint16_t> tile);

/** A stretch of a signal, in whole blocks of hops, and the blocks of frames that overlap it. */
class Stretch
{
public:
    /** From firstHop, a multiple of 16, up to endHop or the signal's end. */
    Stretch (const SpectrumShape& shape,
             std::int64_t firstHop,
             std::int64_t endHop,
             std::int64_t signalLength);

    /** Samples that a block of frames completes when it is overlap-added after those before it: the first
        lies offset samples behind the start of the block's first frame.
    */
    struct Part
    {
        std::int64_t start = 0;
        std::size_t offset = 0, length = 0;
    };

    [[nodiscard]] Part completedBy (std::int64_t block) const;

    /** Frames that no other stretch counts, beyond the signal's end too: all but the first, which the stretch
        before takes, as a frame needs the one before it. */
    [[nodiscard]] std::int64_t firstOwnFrame() const { return start == 0 ? 0 : start / rate.hop + 1; }
    [[nodiscard]] std::int64_t endOwnFrame() const
    {
        return isLast ? endBlock * static_cast<std::int64_t> (blockFrames) : end / rate.hop + 1;
    }

    /** Past the last block that no later stretch begins with. */
    [[nodiscard]] std::int64_t endOwnBlock() const
    {
        return isLast ? endBlock : end / (rate.hop * static_cast<std::int64_t> (blockFrames));
    }

    std::int64_t firstBlock = 0, endBlock = 0;

private:
    RateParameters rate;
    std::int64_t start, end;
    bool isLast;
};

/** A signal as long as this in stretches that keep the workers busy and still transform few frames twice.
    Where it is cut changes no bit of what comes out.
*/
[[nodiscard]] std::vector<Stretch>
stretchesOf (const SpectrumShape& shape, std::int64_t signalLength, int numWorkers);

/** The samples of a block of frames, and what the next block needs of the frames before. */
class FrameStream
{
public:
    explicit FrameStream (const SpectrumShape& shape);

    /** Another signal, or another place in it. */
    void restart();

    /** Samples that lie in a signal from start on. */
    struct Room
    {
        std::int64_t start = 0;
        std::span<float> samples;
    };

    /** Moves on to frames first .. first + 15 and returns what is to be read for them. */
    [[nodiscard]] Room moveTo (std::int64_t first);

    /** From the start of the block's first frame on. */
    [[nodiscard]] const float* samples() const { return window.data(); }

    /** The powers of the two frames before these, two floats a bin, for the kernels that take means of three.
    */
    [[nodiscard]] float* history() { return powers.data(); }

private:
    const SpectrumShape& shape;
    AlignedBuffer window, powers;
    std::optional<std::int64_t> current; // first frame in the window
};

/** Reads a source, non-finite samples as 0. False when it can't be read. */
[[nodiscard]] bool readSource (SampleSource& source, FrameStream::Room room);

/** Standard outputs by Focus. */
using StandardOutputs = std::array<float*, numFocusSteps>;

/** The outputs at Focus 1..5, Fine 0, of samples start .. start + length - 1, zeros outside the track: the
    best components that each keeps, added up, at their level. Null pointers and Focus 0 are skipped. False
    when the track can't be read. */
[[nodiscard]] bool readStandard (const RefinementTrack& track,
                                 std::int64_t start,
                                 std::size_t length,
                                 const StandardOutputs& outputs);

} // namespace tessivar::refinement
