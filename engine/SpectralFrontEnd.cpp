#include "engine/SpectralFrontEnd.h"

#include "engine/numerics/simd/SpectralKernels.h"

#include <bit>

namespace tessivar
{

std::int64_t replaceNonFinite (std::span<float> samples)
{
    constexpr std::uint32_t exponentMask = 0x7f800000u;
    std::int64_t count = 0;

    // An integer comparison, which the compiler vectorises.
    for (auto& sample : samples)
    {
        const auto isNonFinite = (std::bit_cast<std::uint32_t> (sample) & exponentMask) == exponentMask;
        sample = isNonFinite ? 0.0f : sample;
        count += isNonFinite ? 1 : 0;
    }

    return count;
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
    constexpr std::size_t panel = 16;
    std::size_t total = 0;

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
        numPanels.push_back ((end - first + panel - 1) / panel);
        total += numPanels.back() * panel;
    }

    weights = AlignedBuffer (total);
    auto* out = weights.data();

    for (std::size_t m = 0; m < method::numMelBands; ++m)
        for (std::size_t i = 0; i < numPanels[m] * panel; ++i)
            *out++ = firstBin[m] + i < numBins ? weightOf (m, firstBin[m] + i) : 0.0f;
}

void MelBands::melPower (float* dest, const float* magnitudes) const
{
    kernels::sumBands (
        dest, magnitudes, weights.data(), firstBin.data(), numPanels.data(), method::numMelBands);

    for (std::size_t m = 0; m < method::numMelBands; ++m)
        dest[m] *= dest[m];
}

FrameAnalyser::FrameAnalyser (std::span<const float> w)
    : window (w), transform (w.size()), frame (transform.length()), bins (transform.spectrumFloats()),
      magnitudes (transform.numBins() + 64)
{
}

bool FrameAnalyser::analyse (const float* samples)
{
    // The first samples decide nearly always.
    constexpr std::size_t ahead = 16;
    isSilent = kernels::peakLevel (samples, ahead) == 0.0f
               && kernels::peakLevel (samples + ahead, transform.length() - ahead) == 0.0f;

    if (isSilent)
    {
        frame.clear();
        bins.clear();
        return false;
    }

    kernels::multiply (frame.data(), samples, window.data(), transform.length());
    transform.forward (bins.data(), frame.data());
    return true;
}

double FrameAnalyser::energy() const
{
    return kernels::sumOfSquares (frame.data(), transform.length());
}

void FrameAnalyser::melPower (float* dest, const MelBands& bands)
{
    if (isSilent)
    {
        std::fill_n (dest, method::numMelBands, 0.0f);
        return;
    }

    kernels::magnitudes (magnitudes.data(), bins.data(), transform.numBins());
    bands.melPower (dest, magnitudes.data());
}

bool analyseFrames (const PaddedSignal& signal,
                    std::int64_t first,
                    std::int64_t end,
                    const MelBands& bands,
                    FrameAnalyser& analyser,
                    const RateParameters& rate,
                    float* melPower,
                    std::size_t stride,
                    double* energies)
{
    AlignedBuffer block (FrameRange{ first, end }.numSamples (rate));

    if (! signal.read (frameStart (first, rate), block.span()))
        return false;

    for (std::int64_t i = 0; i < end - first; ++i)
    {
        analyser.analyse (block.data() + i * rate.hop);
        analyser.melPower (melPower + static_cast<std::size_t> (i) * stride, bands);
        energies[i] = analyser.energy();
    }

    return true;
}

void overlapAdd (float* dest, const float* frame, std::span<const float> window, float gain)
{
    kernels::addWindowed (dest, frame, window.data(), gain, window.size());
}

void OverlapSum::clear (std::size_t length, std::size_t frameLength)
{
    const auto room = length + 2 * frameLength;
    margin = static_cast<std::int64_t> (frameLength);

    if (data.size() < room)
        data = AlignedBuffer (room);
    else
        std::fill_n (data.data(), room, 0.0f);
}

} // namespace tessivar
