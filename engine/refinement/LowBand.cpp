#include "engine/refinement/LowBand.h"

#include "terms/Mathematics.h"

#include <algorithm>

namespace tessivar::refinement
{

namespace
{
constexpr std::size_t firstFadedBin = 29;
constexpr auto blockLength = static_cast<std::int64_t> (blockFrames);

AlignedBuffer sampled (std::span<const float> window)
{
    AlignedBuffer weights (lowBand::frameLength);

    for (std::size_t k = 0; k < lowBand::frameLength; ++k)
        weights.data()[k] = window[k * (window.size() / lowBand::frameLength)];

    return weights;
}

AlignedBuffer hannWindow (std::size_t length)
{
    AlignedBuffer weights (length);

    for (std::size_t k = 0; k < length; ++k)
        weights.data()[k] = static_cast<float> (0.5 - 0.5 * math::cosOfTurn (k, length));

    return weights;
}

AlignedBuffer onesOf (std::size_t length)
{
    AlignedBuffer values (length);
    std::fill_n (values.data(), length, 1.0f);
    return values;
}
} // namespace

void LowSignal::write (const Stretch::Part& part, const float* samples)
{
    const auto first = (part.start + ratio - 1) / ratio,
               end = (part.start + static_cast<std::int64_t> (part.length) + ratio - 1) / ratio;

    if (part.length > 0)
        std::copy_n (
            samples + static_cast<std::int64_t> (part.offset) / ratio, end - first, values.data() + first);
}

void LowSignal::write (std::int64_t start, std::span<const float> samples)
{
    const auto end = start + static_cast<std::int64_t> (samples.size());
    const auto first = std::clamp<std::int64_t> (0, start, end);
    const auto last = std::clamp (static_cast<std::int64_t> (values.size()), first, end);

    if (first < last)
        std::copy_n (samples.data() + (first - start), last - first, values.data() + first);
}

void LowSignal::read (std::int64_t start, std::span<float> samples) const
{
    const auto end = start + static_cast<std::int64_t> (samples.size());
    const auto first = std::clamp<std::int64_t> (0, start, end);
    const auto last = std::clamp (static_cast<std::int64_t> (values.size()), first, end);
    std::fill (samples.begin(), samples.end(), 0.0f);

    if (first < last)
        std::copy_n (values.data() + first, last - first, samples.data() + (first - start));
}

// Four of the method's windows squared add up to half; four Hann windows squared to one and a half.
LowTransforms::LowTransforms (const SpectrumShape& shape, std::span<const float> methodWindow)
    : gains ((lowBand::numBins + 1) * blockFrames), ratio (static_cast<float> (lowBand::ratio (shape))),
      window (sampled (methodWindow)), longWindow (hannWindow (longLength)), ones (onesOf (longLength)),
      frames (window.span()), longFrames (longWindow.span()),
      samples (blockFrames * longHop + longLength - longHop), spectrum (frames.spectrumFloats()),
      weighted (gains.size())
{
    frameGains.fill (2.0f / (static_cast<float> (lowBand::frameLength) * ratio));
    longFrameGains.fill (1.0f / (1.5f * static_cast<float> (longLength)));
}

const AlignedBuffer& LowTransforms::forward (const LowSignal& signal, std::int64_t first)
{
    constexpr auto hop = static_cast<std::int64_t> (lowBand::hop);
    constexpr auto length = static_cast<std::int64_t> (lowBand::frameLength);
    signal.read (first * hop - length,
                 samples.span().first (static_cast<std::size_t> ((blockLength - 1) * hop + length)));
    frames.load (samples.data());
    frames.forward (spectrum.data());

    for (std::size_t i = 0; i < spectrum.size(); ++i)
        spectrum.data()[i] *= ratio;

    return spectrum;
}

const float* LowTransforms::overlap (const float* source, const float* frameAndBinGains, OverlapCarry& carry)
{
    for (std::size_t bin = 0; bin < lowBand::numBins; ++bin)
    {
        const auto fade = bin < firstFadedBin
                              ? 1.0f
                              : static_cast<float> (lowBand::numBins - bin)
                                    / static_cast<float> (lowBand::numBins + 1 - firstFadedBin);

        for (auto i = bin * blockFrames; i < (bin + 1) * blockFrames; ++i)
            weighted.data()[i] = fade * frameAndBinGains[i];
    }

    // The imaginary part of DC would come back as the highest frequency.
    if (source != spectrum.data())
        std::copy_n (source, spectrum.size(), spectrum.data());

    std::fill_n (spectrum.data() + blockFrames, blockFrames, 0.0f);
    frames.prepare (spectrum.data());
    frames.overlapGained (samples.data(), carry, weighted.data(), frameGains.data());
    return samples.data();
}

void LowTransforms::forwardLong (const LowSignal& signal, std::int64_t first, AlignedBuffer& dest)
{
    signal.read ((first - 3) * static_cast<std::int64_t> (longHop), samples.span());
    longFrames.load (samples.data());
    longFrames.forward (dest.data());
}

std::span<const float> LowTransforms::overlapLong (const AlignedBuffer& source, OverlapCarry& carry)
{
    longFrames.prepare (source.data());
    longFrames.overlapWeighted (samples.data(), carry, ones.data(), longFrameGains.data());
    return samples.span().first (blockFrames * longHop);
}

} // namespace tessivar::refinement
