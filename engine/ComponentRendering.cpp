#include "engine/ComponentRendering.h"

#include "engine/numerics/simd/LaneKernels.h"
#include "engine/numerics/simd/SignalKernels.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tessivar
{

namespace
{
constexpr auto lanes = BlockFft::numFrames;
constexpr std::int64_t segmentFrames = 256;
constexpr std::int64_t leadingFrames = 4; // that a segment's first hop and the one before take in
constexpr std::int64_t segmentHops = segmentFrames - leadingFrames;

/** The hops that samples 0 .. length - 1 of a track reach over, each with the number of the frame that starts
    with it. */
FrameRange hopsOf (const AnalysisShape& shape, std::int64_t length)
{
    const auto& rate = shape.rate;
    const auto start = shape.paddingSamples + rate.frameLength;
    return { start / rate.hop, (start + length + rate.hop - 1) / rate.hop };
}
} // namespace

LinearBases::LinearBases (const float* melBases, std::size_t melStride, const AnalysisData& data)
    : bins (static_cast<std::size_t> (data.rate.numBins())), stride (kernels::wholeVectors (bins)),
      values (stride * channelLayout::numComponents)
{
    for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
    {
        const auto* b = melBases + k * melStride;
        auto* out = values.data() + k * stride;

        for (std::size_t f = 0; f < bins; ++f)
        {
            // A damaged file must not lead outside the 80 bands.
            const auto position = std::clamp (data.interpolation[f], 0.0f, 78.99999f);
            const auto j = static_cast<std::size_t> (position);
            const auto r = position - static_cast<float> (j);
            out[f] = b[j] - b[j] * r + r * b[j + 1];
        }
    }
}

void ComponentLevels::add (const ComponentLevels& other)
{
    source += other.source;

    for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
    {
        component[k] += other.component[k];
        peak[k] = std::max (peak[k], other.peak[k]);
        hasFinite[k] = hasFinite[k] || other.hasFinite[k];
    }
}

ComponentRenderer::ComponentRenderer (const LinearBases& b, MatrixView<const float> h, const AnalysisData& d)
    : bases (b), activations (h), rate (d.rate), fft (d.window.span()), spectrum (fft.spectrumFloats()),
      frameActivations (channelLayout::numComponents * lanes), gains (frameActivations.size()),
      block (fft.length() * lanes)
{
    for (auto& carry : carries)
        carry = OverlapCarry (fft.hop());
}

/** Transforms the loaded frames and divides them by their model. */
void ComponentRenderer::setFrames (std::span<const std::int64_t> frames)
{
    const auto scale = 2.0f / static_cast<float> (rate.frameLength);

    for (std::size_t l = 0; l < lanes; ++l)
    {
        const auto isHeard = l < frames.size() && ! fft.isSilent (l);
        const auto* h = isHeard ? activations.column (static_cast<std::size_t> (frames[l])) : nullptr;

        for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
        {
            frameActivations[k * lanes + l] = isHeard ? h[k] : 0.0f;
            // The transform's scaling, the activation, and the factor 2 that the synthesis window expects.
            gains[k * lanes + l] = isHeard ? scale * h[k] : 0.0f;
        }
    }

    fft.forward (spectrum.data());
    kernels::divideFramesByModel (
        spectrum.data(), bases.data(), bases.columnStride(), frameActivations.data(), bases.numBins());
    fft.prepare (spectrum.data());
}

bool ComponentRenderer::scoreFrames (const PaddedSignal& signal,
                                     std::span<const std::int64_t> frames,
                                     ComponentValues* scores)
{
    std::array<const float*, lanes> pointers{};
    samples.resize (std::max (samples.size(), frames.size() * fft.length()));

    for (std::size_t l = 0; l < frames.size(); ++l)
    {
        const std::span<float> frame{ samples.data() + l * fft.length(), fft.length() };
        pointers[l] = frame.data();

        if (! signal.read (frameStart (frames[l], rate), frame))
            return false;
    }

    fft.load (pointers);
    setFrames (frames);
    std::array<double, lanes> energies, products, squares;
    kernels::squaresOfFrames (energies.data(), fft.windowed(), fft.length());

    for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
    {
        // At the component's true level, so that its squares underflow where they do in single precision.
        fft.inverseWeighted (block.data(), bases.component (k));
        kernels::productsOfFrames (products.data(),
                                   squares.data(),
                                   fft.windowed(),
                                   block.data(),
                                   gains.data() + k * lanes,
                                   fft.length());

        for (std::size_t l = 0; l < frames.size(); ++l)
            scores[l][k] = fft.isSilent (l) ? 0.0 : correlation (products[l], energies[l], squares[l]);
    }

    return true;
}

std::uint64_t ComponentRenderer::rendererBytes (const RateParameters& rate)
{
    // Seven blocks of frames, four of them in the transform; what the frames before leave to ten components.
    const auto frameLength = static_cast<std::uint64_t> (rate.frameLength);
    return sizeof (float) * (7 * lanes + 8) * frameLength + signalBytes (rate);
}

std::uint64_t ComponentRenderer::signalBytes (const RateParameters& rate)
{
    return sizeof (float) * static_cast<std::uint64_t> (segmentFrames * rate.hop);
}

std::size_t ComponentRenderer::numSegments (const AnalysisShape& shape, std::int64_t length)
{
    return static_cast<std::size_t> ((hopsOf (shape, length).size() + segmentHops - 1) / segmentHops);
}

void ComponentRenderer::restart()
{
    wasHeard = false;

    for (auto& carry : carries)
        carry.clear();
}

void ComponentRenderer::setBlock (const float* blockSamples, FrameRange frames)
{
    const auto numGiven = static_cast<std::size_t> (
        std::clamp<std::int64_t> (frames.size(), 0, static_cast<std::int64_t> (lanes)));
    std::array<std::int64_t, lanes> numbers;
    std::iota (numbers.begin(), numbers.end(), frames.first);
    fft.load (blockSamples, numGiven);

    auto isHeard = false;

    for (std::size_t l = 0; l < numGiven; ++l)
        isHeard = isHeard || ! fft.isSilent (l);

    isSilent = ! isHeard && ! wasHeard; // then the frames before leave nothing to add
    wasHeard = isHeard;

    if (! isSilent)
        setFrames ({ numbers.data(), numGiven });
}

void ComponentRenderer::renderBlock (float* out, std::size_t k)
{
    if (isSilent)
        std::fill_n (out, lanes * fft.hop(), 0.0f);
    else
        fft.overlapWeighted (out, carries[k], bases.component (k), gains.data() + k * lanes);
}

bool ComponentRenderer::renderSegment (const PaddedSignal& signal,
                                       std::size_t index,
                                       const AnalysisShape& shape,
                                       const Wanted& wanted,
                                       Segment& segment)
{
    const auto hops = hopsOf (shape, shape.lengthInSamples);
    const auto firstHop = hops.first + static_cast<std::int64_t> (index) * segmentHops;
    const auto endHop = std::min (firstHop + segmentHops, hops.end);
    const auto sampleOf = [&] (std::int64_t hop) { return frameStart (hop, rate) - shape.paddingSamples; };

    segment.first = std::max (sampleOf (firstHop), std::int64_t{ 0 });
    const auto end = std::min (sampleOf (endHop), shape.lengthInSamples);
    segment.length = static_cast<std::size_t> (end - segment.first);
    segment.lead = static_cast<std::size_t> (std::min<std::int64_t> (rate.hop, segment.first));
    segment.levels = {};

    // Complete from the fourth frame's hop on, which is the lead.
    const FrameRange frames{ firstHop - leadingFrames, endHop };
    const auto origin = sampleOf (frames.first);
    segment.offset = static_cast<std::size_t> (segment.first - origin);
    samples.resize (std::max (samples.size(), frames.numSamples (rate)));

    if (! signal.read (frameStart (frames.first, rate), { samples.data(), frames.numSamples (rate) }))
        return false;

    std::array<bool, channelLayout::numComponents> isKept{};

    for (const auto k : wanted.signals)
    {
        auto& buffer = segment.signals[static_cast<std::size_t> (k)];
        isKept[static_cast<std::size_t> (k)] = true;

        if (buffer.size() == 0)
            buffer = AlignedBuffer (static_cast<std::size_t> (segmentFrames * rate.hop));
    }

    restart();
    const auto blockLength = lanes * fft.hop();

    for (std::size_t start = 0; start < static_cast<std::size_t> (frames.size()) * fft.hop();
         start += blockLength)
    {
        const auto first = frames.first + static_cast<std::int64_t> (start / fft.hop());
        setBlock (samples.data() + start,
                  { first, std::min (first + static_cast<std::int64_t> (lanes), frames.end) });

        // The samples of the segment in this block.
        const auto from = std::clamp (segment.offset, start, start + blockLength) - start;
        const auto to = std::clamp (segment.offset + segment.length, start, start + blockLength) - start;

        if (wanted.levels)
            segment.levels.source += kernels::signalLevel (samples.data() + start + from, to - from).squares;

        for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
        {
            if (! isKept[k] && ! wanted.levels)
                continue;

            auto* out = isKept[k] ? segment.signals[k].data() + start : block.data();
            renderBlock (out, k);

            if (! wanted.levels)
                continue;

            // Here and now, while it is in the cache.
            const auto level = kernels::signalLevel (out + from, to - from);
            segment.levels.component[k] += level.squares;
            segment.levels.peak[k] = std::max (segment.levels.peak[k], level.peak);
            // A finite sum proves that all samples are finite.
            segment.levels.hasFinite[k] =
                segment.levels.hasFinite[k] || std::isfinite (level.squares)
                || std::any_of (out + from, out + to, [] (float x) { return std::isfinite (x); });
        }
    }

    return true;
}

} // namespace tessivar
