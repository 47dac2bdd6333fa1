#include "engine/SpectralFrontEnd.h"

#include "engine/numerics/simd/LaneKernels.h"
#include "engine/numerics/simd/SignalKernels.h"

#include <array>

namespace tessivar
{

std::int64_t replaceNonFinite (std::span<float> samples)
{
    return static_cast<std::int64_t> (kernels::replaceNonFinite (samples.data(), samples.size()));
}

PaddedSignal::PaddedSignal (SampleSource& s,
                            DrumType drumType,
                            const AnalysisShape& shape,
                            const AnalysisData& data)
    : source (s), paddingSamples (shape.paddingSamples)
{
    if (shape.padded)
        drumTemplate = data.templateFor (drumType);
}

bool PaddedSignal::read (std::int64_t start, std::span<float> dest) const
{
    const auto length = static_cast<std::int64_t> (dest.size());
    const auto numInPadding = std::clamp (paddingSamples - start, std::int64_t{ 0 }, length);
    const auto padding = dest.first (static_cast<std::size_t> (numInPadding));
    const auto templateLength = static_cast<std::int64_t> (drumTemplate.size());

    for (std::int64_t i = 0; i < numInPadding; ++i)
    {
        const auto position = start + i;
        const auto isInCopy = position >= 0 && position < templateLength * method::templateCopies;
        padding[static_cast<std::size_t> (i)] =
            isInCopy ? drumTemplate[static_cast<std::size_t> (position % templateLength)] : 0.0f;
    }

    const auto rest = dest.subspan (static_cast<std::size_t> (numInPadding));

    if (rest.empty())
        return true;

    const auto isRead = source.read (start + numInPadding - paddingSamples, rest);
    replaceNonFinite (rest);
    return isRead;
}

MelBands::MelBands (std::span<const float> bank, std::size_t numBins)
{
    const auto weightOf = [&] (std::size_t band, std::size_t bin)
    { return bank[band + method::numMelBands * bin]; };

    for (std::size_t m = 0; m < method::numMelBands; ++m)
    {
        std::size_t first = 0, end = numBins;

        while (first < end && weightOf (m, first) == 0.0f)
            ++first;

        while (end > first && weightOf (m, end - 1) == 0.0f)
            --end;

        firstBin.push_back (first);
        sizes.push_back (end - first);

        for (auto bin = first; bin < end; ++bin)
            weights.push_back (weightOf (m, bin));
    }
}

void MelBands::melPower (float* dest, const float* magnitudes) const
{
    kernels::bandPowersOfFrames (
        dest, magnitudes, weights.data(), firstBin.data(), sizes.data(), method::numMelBands);
}

MelAnalyser::MelAnalyser (std::span<const float> window, const MelBands& b)
    : bands (b), fft (window), spectrum (fft.spectrumFloats()),
      magnitudes (fft.numBins() * BlockFft::numFrames), power (method::numMelBands * BlockFft::numFrames)
{
}

bool MelAnalyser::analyse (const PaddedSignal& signal,
                           FrameRange frames,
                           const RateParameters& rate,
                           float* melPower,
                           std::size_t stride,
                           double* energies)
{
    constexpr auto lanes = BlockFft::numFrames;
    const auto numFrames = static_cast<std::size_t> (frames.size());
    samples.resize (std::max (samples.size(), frames.numSamples (rate)));

    if (! signal.read (frameStart (frames.first, rate), { samples.data(), frames.numSamples (rate) }))
        return false;

    for (std::size_t first = 0; first < numFrames; first += lanes)
    {
        const auto numGiven = std::min (lanes, numFrames - first);
        std::array<double, lanes> squares;
        fft.load (samples.data() + first * fft.hop(), numGiven);
        fft.forward (spectrum.data());
        kernels::squaresOfFrames (squares.data(), fft.windowed(), fft.length());
        kernels::magnitudesOfFrames (magnitudes.data(), spectrum.data(), fft.numBins());
        bands.melPower (power.data(), magnitudes.data());
        std::copy_n (squares.data(), numGiven, energies + first);

        for (std::size_t l = 0; l < numGiven; ++l)
            for (std::size_t m = 0; m < method::numMelBands; ++m)
                melPower[(first + l) * stride + m] = power[m * lanes + l];
    }

    return true;
}

} // namespace tessivar
