#pragma once

#include "engine/numerics/AlignedBuffer.h"

#include <cstddef>
#include <memory>

namespace tessivar
{

/** Real transforms of one power-of-two length n, the only place that knows the FFT library.

    Spectra are n/2 + 1 complex bins as interleaved (re, im) floats, DC first, Nyquist last. Both directions
    are unscaled: inverse (forward (x)) = n * x. All arrays start on 64-byte boundaries and don't overlap. A
    real transform is a complex one of half the length plus a pass over the bins (Sorensen, Jones, Heideman,
    Burrus 1987).

    Plans are made once per length, under one lock, and never by timing, so that results repeat bit by bit.
    One thread at a time may use an object; objects of equal length share their plan.
*/
class RealFft
{
public:
    explicit RealFft (std::size_t length);
    ~RealFft();

    RealFft (const RealFft&) = delete;
    RealFft& operator= (const RealFft&) = delete;

    [[nodiscard]] std::size_t length() const { return n; }
    [[nodiscard]] std::size_t numBins() const { return n / 2 + 1; }

    /** Floats of a spectrum buffer: the bins, padded so that kernels may store whole vectors. */
    [[nodiscard]] std::size_t spectrumFloats() const { return n + 32; }

    /** spectrum = DFT (samples); n samples in. */
    void forward (float* spectrum, const float* samples);

    /** samples = inverse DFT (spectrum), unscaled; n samples out. */
    void inverse (float* samples, const float* spectrum);

    /** Inverse transforms of weights[k] * spectrum, one real weight per bin, for many sets of weights and one
        spectrum: prepare() once, then inverseWeighted() for each set. packWeights() packs a set, once, into
        packedWeightFloats() floats. */
    void prepare (const float* spectrum);
    void inverseWeighted (float* samples, const float* packedWeights);
    [[nodiscard]] std::size_t packedWeightFloats() const { return 2 * n; }
    void packWeights (float* packed, const float* weights) const;

    /** The same for weights that are used with one spectrum only: one real gain per bin, not packed. */
    void inverseGained (float* samples, const float* gains);

private:
    struct Plans;

    const std::size_t n;
    std::shared_ptr<const Plans> plans;
    AlignedBuffer half;               // n/2 + 1 complex values, input or output of the complex transform
    AlignedBuffer prepared, mirrored; // multiplied with the weights, and with the same weights reversed
    AlignedBuffer unitWeights;        // packed weights of 1, made when first needed
};

} // namespace tessivar
