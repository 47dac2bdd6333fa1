#pragma once

#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/BlockFft.h"
#include "engine/refinement/RefinementSpectra.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar::refinement
{

/** The lowest bins of the method's frames, up to about 700 Hz, as signals at a low rate: the frames' bins
    0..31 are a transform of 64 samples, so a sample stands for every frame length / 64 of the Group.
*/
namespace lowBand
{
inline constexpr std::size_t frameLength = 64, hop = 16, numBins = 32;

/** Samples of the Group to one of the low band. */
[[nodiscard]] inline std::int64_t ratio (const SpectrumShape& shape)
{
    return shape.rate.frameLength / static_cast<std::int64_t> (frameLength);
}
} // namespace lowBand

/** A low-band signal as long as the Group, in memory: about 1.4 kHz of floats. Several threads may use
    different ranges at once. */
class LowSignal
{
public:
    explicit LowSignal (const SpectrumShape& shape)
        : ratio (lowBand::ratio (shape)), values (numSamples (shape))
    {
    }

    [[nodiscard]] static std::size_t numSamples (const SpectrumShape& shape)
    {
        return static_cast<std::size_t> ((shape.length + lowBand::ratio (shape) - 1)
                                         / lowBand::ratio (shape));
    }

    /** Writes the low band's part of what a block of the method's frames completes; samples begin where the
        first of them starts. */
    void write (const Stretch::Part& part, const float* samples);

    /** Writes samples from start on, without those outside of the signal. */
    void write (std::int64_t start, std::span<const float> samples);

    /** Zeros before and past the signal. */
    void read (std::int64_t start, std::span<float> samples) const;

private:
    std::int64_t ratio;
    std::vector<float> values;
};

/** A worker's transforms of low-band signals, sixteen frames at a time: frames in step with the method's, and
    long ones of 512 samples under a Hann window, eight times as long. */
class LowTransforms
{
public:
    static constexpr std::size_t longLength = 512, longHop = 128;

    LowTransforms (const SpectrumShape& shape, std::span<const float> methodWindow);

    /** Spectra of a block of the method's frames, from frame first on, as they would be at the full rate:
        bins 0..32 in lane layout, of which the last is not to be used. */
    [[nodiscard]] const AlignedBuffer& forward (const LowSignal& signal, std::int64_t first);

    /** Inverse transforms of the low bins of spectra of the method's frames (any DC phase is dropped), each
        under its gain, gains[bin * 16 + l] for bins 0..31, and overlap-added: the 256 samples from the first
        frame's start on. The highest bins fade out. */
    [[nodiscard]] const float* overlap (const float* spectrum, const float* gains, OverlapCarry& carry);

    /** Spectra of long frames first .. first + 15: frame t starts at sample (t - 3) * longHop. */
    void forwardLong (const LowSignal& signal, std::int64_t first, AlignedBuffer& spectrum);

    /** Overlap-adds spectra of long frames: the 2048 samples from the first one's start on. */
    [[nodiscard]] std::span<const float> overlapLong (const AlignedBuffer& spectrum, OverlapCarry& carry);

    [[nodiscard]] std::size_t longSpectrumFloats() const { return longFrames.spectrumFloats(); }

    AlignedBuffer gains; // room for those of overlap()

private:
    const float ratio;
    AlignedBuffer window, longWindow, ones;
    BlockFft frames, longFrames;
    AlignedBuffer samples, spectrum, weighted;
    std::array<float, blockFrames> frameGains{}, longFrameGains{};
};

} // namespace tessivar::refinement
