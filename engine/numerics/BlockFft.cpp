#include "engine/numerics/BlockFft.h"

#include "engine/numerics/RealFft.h"

#include <algorithm>
#include <cassert>
#include <vector>

namespace tessivar
{

struct BlockFft::Tables
{
};

BlockFft::BlockFft (std::span<const float> w)
    : window (w), n (w.size()), samplesInLanes (n * numFrames), prepared (spectrumFloats()),
      work (n * numFrames)
{
    assert (n >= 64 && (n & (n - 1)) == 0);
}

BlockFft::~BlockFft() = default;

void BlockFft::load (const float* samples, std::size_t numGiven)
{
    std::array<const float*, numFrames> frames{};

    for (std::size_t l = 0; l < numGiven; ++l)
        frames[l] = samples + l * hop();

    load (frames);
}

void BlockFft::load (const std::array<const float*, numFrames>& frames)
{
    for (std::size_t l = 0; l < numFrames; ++l)
    {
        silence[l] = true;

        for (std::size_t i = 0; i < n; ++i)
        {
            const auto x = frames[l] != nullptr ? frames[l][i] * window[i] : 0.0f;
            samplesInLanes[i * numFrames + l] = x;

            if (frames[l] != nullptr && frames[l][i] != 0.0f)
                silence[l] = false;
        }
    }
}

void BlockFft::forward (float* spectrum)
{
    RealFft fft (n);
    AlignedBuffer samples (n), bins (fft.spectrumFloats());

    for (std::size_t l = 0; l < numFrames; ++l)
    {
        for (std::size_t i = 0; i < n; ++i)
            samples[i] = samplesInLanes[i * numFrames + l];

        fft.forward (bins.data(), samples.data());

        for (std::size_t f = 0; f < numBins(); ++f)
        {
            spectrum[(2 * f) * numFrames + l] = bins[2 * f];
            spectrum[(2 * f + 1) * numFrames + l] = bins[2 * f + 1];
        }
    }
}

void BlockFft::prepare (const float* spectrum)
{
    std::copy_n (spectrum, spectrumFloats(), prepared.data());
}

void BlockFft::inverseWeighted (float* samples, const float* weights)
{
    RealFft fft (n);
    AlignedBuffer frame (n), bins (fft.spectrumFloats());

    for (std::size_t l = 0; l < numFrames; ++l)
    {
        for (std::size_t f = 0; f < numBins(); ++f)
        {
            bins[2 * f] = weights[f] * prepared[(2 * f) * numFrames + l];
            bins[2 * f + 1] = weights[f] * prepared[(2 * f + 1) * numFrames + l];
        }

        fft.inverse (frame.data(), bins.data());

        for (std::size_t i = 0; i < n; ++i)
            samples[i * numFrames + l] = frame[i];
    }
}

void BlockFft::overlapWeighted (float* signal,
                                OverlapCarry& carry,
                                const float* weights,
                                const float* frameGains)
{
    std::vector<float> gains (numBins() * numFrames);

    for (std::size_t f = 0; f < numBins(); ++f)
        std::fill_n (gains.data() + f * numFrames, numFrames, weights[f]);

    overlapGained (signal, carry, gains.data(), frameGains);
}

void BlockFft::overlapGained (float* signal, OverlapCarry& carry, const float* gains, const float* frameGains)
{
    RealFft fft (n);
    AlignedBuffer frame (n), bins (fft.spectrumFloats());
    auto* one =
        carry.data(); // what the frame before leaves: its second quarter and what was summed up so far
    auto* two = one + hop();
    auto* three = two + hop();

    for (std::size_t l = 0; l < numFrames; ++l)
    {
        for (std::size_t f = 0; f < numBins(); ++f)
        {
            bins[2 * f] = gains[f * numFrames + l] * prepared[(2 * f) * numFrames + l];
            bins[2 * f + 1] = gains[f * numFrames + l] * prepared[(2 * f + 1) * numFrames + l];
        }

        fft.inverse (frame.data(), bins.data());

        const auto value = [&] (std::size_t i) { return frameGains[l] * (frame[i] * window[i]); };

        for (std::size_t i = 0; i < hop(); ++i)
        {
            signal[l * hop() + i] = one[i] + value (i);
            one[i] = two[i] + value (hop() + i);
            two[i] = three[i] + value (2 * hop() + i);
            three[i] = value (3 * hop() + i);
        }
    }
}

} // namespace tessivar
