#include "benchmarks/FrameByFrameRendering.h"

#include <algorithm>
#include <cstring>
#include <fftw3.h>

#if defined(__x86_64__) && ! defined(__SANITIZE_ADDRESS__)
    #define TESSIVAR_WIDEST_VECTORS \
        __attribute__ ((target_clones ("arch=x86-64-v4", "arch=x86-64-v3", "default")))
#else
    #define TESSIVAR_WIDEST_VECTORS
#endif

namespace tessivar::benchmarks
{

namespace
{
TESSIVAR_WIDEST_VECTORS void
multiply (float* __restrict dest, const float* __restrict a, const float* __restrict b, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        dest[i] = a[i] * b[i];
}

TESSIVAR_WIDEST_VECTORS void addWindowed (float* __restrict dest,
                                          const float* __restrict a,
                                          const float* __restrict window,
                                          float gain,
                                          std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        dest[i] += gain * (a[i] * window[i]);
}

TESSIVAR_WIDEST_VECTORS void divideByModel (float* __restrict quotient,
                                            const float* __restrict spectrum,
                                            const float* __restrict bases,
                                            std::size_t stride,
                                            const float* __restrict h,
                                            std::size_t numBins)
{
    const auto *b0 = bases, *b1 = b0 + stride, *b2 = b1 + stride, *b3 = b2 + stride, *b4 = b3 + stride,
               *b5 = b4 + stride, *b6 = b5 + stride, *b7 = b6 + stride, *b8 = b7 + stride, *b9 = b8 + stride;

    for (std::size_t f = 0; f < numBins; ++f)
    {
        const auto model = b0[f] * h[0] + b1[f] * h[1] + b2[f] * h[2] + b3[f] * h[3] + b4[f] * h[4]
                           + b5[f] * h[5] + b6[f] * h[6] + b7[f] * h[7] + b8[f] * h[8] + b9[f] * h[9];
        const auto inverse = 1.0f / (model < method::floorValue ? method::floorValue : model);
        quotient[2 * f] = spectrum[2 * f] * inverse;
        quotient[2 * f + 1] = spectrum[2 * f + 1] * inverse;
    }
}
} // namespace

struct FrameByFrameRendering::Plans
{
    ~Plans()
    {
        fftwf_destroy_plan (forward);
        fftwf_destroy_plan (inverse);
    }

    fftwf_plan forward = nullptr, inverse = nullptr;
};

FrameByFrameRendering::FrameByFrameRendering (const RateParameters& r,
                                              const float* b,
                                              std::size_t stride,
                                              const float* w)
    : rate (r), window (w), plans (std::make_unique<Plans>())
{
    const auto length = static_cast<std::size_t> (rate.frameLength),
               bins = static_cast<std::size_t> (rate.numBins());
    frame = AlignedBuffer (length);
    output = AlignedBuffer (length);
    spectrum = AlignedBuffer (2 * bins);
    quotient = AlignedBuffer (2 * bins);
    masked = AlignedBuffer (2 * bins);
    bases = AlignedBuffer (channelLayout::numComponents * bins);
    doubledBases = AlignedBuffer (2 * channelLayout::numComponents * bins);

    for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
        for (std::size_t f = 0; f < bins; ++f)
            bases[k * bins + f] = doubledBases[2 * (k * bins + f)] = doubledBases[2 * (k * bins + f) + 1] =
                b[k * stride + f];

    plans->forward = fftwf_plan_dft_r2c_1d (
        rate.frameLength, frame.data(), reinterpret_cast<fftwf_complex*> (spectrum.data()), FFTW_MEASURE);
    plans->inverse = fftwf_plan_dft_c2r_1d (rate.frameLength,
                                            reinterpret_cast<fftwf_complex*> (masked.data()),
                                            output.data(),
                                            FFTW_MEASURE | FFTW_DESTROY_INPUT);
}

FrameByFrameRendering::~FrameByFrameRendering() = default;

void FrameByFrameRendering::render (const float* samples,
                                    MatrixView<const float> activations,
                                    std::size_t numFrames)
{
    const auto length = static_cast<std::size_t> (rate.frameLength),
               hop = static_cast<std::size_t> (rate.hop);
    const auto bins = static_cast<std::size_t> (rate.numBins());
    const auto overlap = length - hop;

    for (auto& signal : outputs)
    {
        if (signal.size() != numFrames * hop + overlap)
            signal = AlignedBuffer (numFrames * hop + overlap);

        std::copy_n (signal.data() + numFrames * hop, overlap, signal.data());
        std::memset (signal.data() + overlap, 0, numFrames * hop * sizeof (float));
    }

    for (std::size_t t = 0; t < numFrames; ++t)
    {
        multiply (frame.data(), samples + t * hop, window, length);
        fftwf_execute (plans->forward);
        const auto* h = activations.column (t);
        divideByModel (quotient.data(), spectrum.data(), bases.data(), bins, h, bins);

        for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
        {
            multiply (masked.data(), quotient.data(), doubledBases.data() + 2 * k * bins, 2 * bins);
            fftwf_execute (plans->inverse);
            addWindowed (outputs[k].data() + t * hop,
                         output.data(),
                         window,
                         2.0f / static_cast<float> (rate.frameLength) * h[k],
                         length);
        }
    }
}

} // namespace tessivar::benchmarks
