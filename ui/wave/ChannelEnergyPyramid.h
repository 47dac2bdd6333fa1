#pragma once

#include "terms/ChannelLayout.h"
#include "terms/ReductionCurve.h"
#include "ui/wave/EnvelopePyramid.h"

#include <array>

namespace tessivar
{

/** The mean squares of a block's channels, as they are stored. */
using ChannelEnergies = std::array<std::uint8_t, channelLayout::numRendered>;

/** Mean squares of the seven channels of a rendered track in blocks of 512 frames, and of 4, 16, 64 ... such
    blocks: enough to estimate the processed envelope for any weights, and a meter's levels at any position,
    without reading audio.

    One byte per value, in steps of half a decibel from -115 to +12 dB (0: silence), so that an estimate is at
    most 3 % off. 9.3 bytes per 512 frames: 1.05 MB for 20 minutes at 48 kHz. Threads as in BlockPyramid.
*/
class ChannelEnergyPyramid : private BlockPyramid<ChannelEnergies, 512>
{
public:
    static constexpr int numChannels = channelLayout::numRendered;
    using BlockPyramid::baseBlock; // frames

    /** Takes memory for this many frames, none of them ready yet. */
    explicit ChannelEnergyPyramid (std::int64_t lengthInFrames) : BlockPyramid (lengthInFrames) {}

    /** Adds the next frames, seven interleaved samples each, any number at a time. Frames beyond the length
        are ignored; a sample that isn't finite counts as 0. Writing thread only. */
    void append (std::span<const float> interleaved) noexcept;

    [[nodiscard]] std::int64_t lengthInFrames() const noexcept { return length; }
    [[nodiscard]] std::int64_t readyFrames() const noexcept { return numReady(); }

    /** Mean square of one channel in the base block at a frame; 0 where nothing is ready. */
    [[nodiscard]] float power (std::int64_t frame, int channel) const noexcept;

    /** Mean square of the processed signal there, estimated for these weights. */
    [[nodiscard]] float processedPower (std::int64_t frame, const ChannelWeights& weights) const noexcept;

    /** Linear gain from the source to the processed signal at a frame, estimated for these weights and
        interpolated between block centres; 1 where nothing is known. */
    [[nodiscard]] float keptGain (double frame, const ChannelWeights& weights) const noexcept;

    /** How much these weights remove, in steps of so many frames, a multiple of baseBlock; estimated for what
        is ready. Under 2 ms for 20 minutes at 48 kHz. */
    [[nodiscard]] ReductionCurve reduction (const ChannelWeights& weights, std::int64_t stepInFrames) const;

    /** Estimates the envelope of the processed signal: source.query() with each stretch scaled by the root of
        the share of power that the weights leave there. Channels count as uncorrelated; weights of 1 give the
        source exactly. The share never exceeds 1, so what is kept stays inside the source. Under 5 ms for
        4000 columns.
    */
    void estimate (const EnvelopePyramid& source,
                   const ChannelWeights& weights,
                   double start,
                   double end,
                   std::span<EnvelopeColumn> columns) const noexcept;

private:
    using SquaredWeights = std::array<float, channelLayout::numParts>;

    [[nodiscard]] const ChannelEnergies* blockAt (std::int64_t frame) const noexcept;
    [[nodiscard]] static SquaredWeights squared (const ChannelWeights& weights) noexcept;
    [[nodiscard]] static float keptShare (const ChannelEnergies& block,
                                          const SquaredWeights& weights) noexcept;

    std::int64_t written = 0; // frames, by the writing thread
    std::array<double, numChannels> sums{};
};

} // namespace tessivar
