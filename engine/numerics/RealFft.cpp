#include "engine/numerics/RealFft.h"

#include "engine/numerics/simd/SpectralKernels.h"

#include <cassert>
#include <cmath>
#include <fftw3.h>
#include <map>
#include <mutex>
#include <numbers>
#include <vector>

namespace tessivar
{

namespace
{
// FFTW's planner is not thread-safe; this guards every call to it and the table of plans.
std::mutex plannerLock;
} // namespace

struct RealFft::Plans
{
    explicit Plans (std::size_t n) : forwardTwiddles (n + 32), inverseTwiddles (2 * n + 64)
    {
        const auto length = static_cast<int> (n / 2);
        AlignedBuffer in (n + 32), out (n + 32);
        auto* const a = reinterpret_cast<fftwf_complex*> (in.data());
        auto* const b = reinterpret_cast<fftwf_complex*> (out.data());
        // ESTIMATE picks by counting operations, so that results repeat bit by bit; at half lengths it comes
        // within a tenth of what measuring finds.
        forward = fftwf_plan_dft_1d (length, a, b, FFTW_FORWARD, FFTW_ESTIMATE);
        backward = fftwf_plan_dft_1d (length, a, b, FFTW_BACKWARD, FFTW_ESTIMATE);

        for (std::size_t k = 0; k < n / 2; ++k)
        {
            const auto angle = 2.0 * std::numbers::pi * static_cast<double> (k) / static_cast<double> (n);
            const auto c = std::cos (angle), s = std::sin (angle);
            // exp (-i angle) / 2 for the forward split.
            forwardTwiddles[2 * k] = static_cast<float> (0.5 * c);
            forwardTwiddles[2 * k + 1] = static_cast<float> (-0.5 * s);
            // 1 + i exp (i angle) and, n + 32 floats further, 1 - i exp (i angle).
            inverseTwiddles[2 * k] = static_cast<float> (1.0 - s);
            inverseTwiddles[2 * k + 1] = static_cast<float> (c);
            inverseTwiddles[n + 32 + 2 * k] = static_cast<float> (1.0 + s);
            inverseTwiddles[n + 32 + 2 * k + 1] = static_cast<float> (-c);
        }
    }

    ~Plans()
    {
        const std::lock_guard lock (plannerLock);
        fftwf_destroy_plan (forward);
        fftwf_destroy_plan (backward);
    }

    Plans (const Plans&) = delete;
    Plans& operator= (const Plans&) = delete;

    static std::shared_ptr<const Plans> forLength (std::size_t n)
    {
        // Plans stay for the life of the process; there are three lengths. Never destroyed, so that the order
        // of destruction at exit doesn't matter.
        static auto& table = *new std::map<std::size_t, std::shared_ptr<const Plans>>();
        const std::lock_guard lock (plannerLock);
        auto& entry = table[n];

        if (entry == nullptr)
            entry = std::make_shared<const Plans> (n);

        return entry;
    }

    fftwf_plan forward = nullptr, backward = nullptr;
    AlignedBuffer forwardTwiddles, inverseTwiddles;
};

RealFft::RealFft (std::size_t length)
    : n (length), plans (Plans::forLength (length)), half (length + 32), prepared (length + 32),
      mirrored (length + 32)
{
    assert (length >= 32 && (length & (length - 1)) == 0);
}

RealFft::~RealFft() = default;

void RealFft::forward (float* spectrum, const float* samples)
{
    // FFTW leaves the input of an out-of-place complex transform unchanged.
    fftwf_execute_dft (plans->forward,
                       reinterpret_cast<fftwf_complex*> (const_cast<float*> (samples)),
                       reinterpret_cast<fftwf_complex*> (half.data()));
    kernels::splitSpectrum (spectrum, half.data(), plans->forwardTwiddles.data(), n / 2);
}

void RealFft::inverse (float* samples, const float* spectrum)
{
    if (unitWeights.size() == 0)
    {
        unitWeights = AlignedBuffer (packedWeightFloats());
        const std::vector<float> ones (numBins(), 1.0f);
        packWeights (unitWeights.data(), ones.data());
    }

    prepare (spectrum);
    inverseWeighted (samples, unitWeights.data());
}

void RealFft::prepare (const float* spectrum)
{
    kernels::prepareInverse (prepared.data(),
                             mirrored.data(),
                             spectrum,
                             plans->inverseTwiddles.data(),
                             plans->inverseTwiddles.data() + n + 32,
                             n / 2);
}

void RealFft::packWeights (float* packed, const float* weights) const
{
    for (std::size_t k = 0; k < n / 2; ++k)
    {
        packed[2 * k] = packed[2 * k + 1] = weights[k];
        packed[n + 2 * k] = packed[n + 2 * k + 1] = weights[n / 2 - k];
    }
}

void RealFft::inverseWeighted (float* samples, const float* packedWeights)
{
    kernels::weightedSum (half.data(), prepared.data(), packedWeights, mirrored.data(), packedWeights + n, n);
    fftwf_execute_dft (plans->backward,
                       reinterpret_cast<fftwf_complex*> (half.data()),
                       reinterpret_cast<fftwf_complex*> (samples));
}

void RealFft::inverseGained (float* samples, const float* gains)
{
    kernels::gainedSum (half.data(), prepared.data(), mirrored.data(), gains, n / 2);
    fftwf_execute_dft (plans->backward,
                       reinterpret_cast<fftwf_complex*> (half.data()),
                       reinterpret_cast<fftwf_complex*> (samples));
}

} // namespace tessivar
