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
constexpr std::size_t pieceFrames = 64;   // whose five best components take 320 KB at 44.1 kHz
constexpr std::int64_t leadingFrames = 4; // that a segment's first hop and the one before take in

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
    // Seven blocks of frames, four of them in the transform; samples and ten signals of a piece; what the
    // frames before leave to ten components.
    constexpr std::uint64_t numHops = 11 * (pieceFrames + 4) + 30;
    return sizeof (float)
           * (7 * lanes * static_cast<std::uint64_t> (rate.frameLength)
              + numHops * static_cast<std::uint64_t> (rate.hop));
}

std::size_t ComponentRenderer::numSegments (const AnalysisShape& shape, std::int64_t length)
{
    return static_cast<std::size_t> ((hopsOf (shape, length).size() + segmentHops - 1) / segmentHops);
}

FrameRange ComponentRenderer::frames (const AnalysisShape& shape)
{
    return hopsOf (shape, shape.lengthInSamples);
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

void ComponentRenderer::renderSumOfBlock (float* out, std::span<const int> components, float gain)
{
    if (isSilent)
    {
        std::fill_n (out, lanes * fft.hop(), 0.0f);
        return;
    }

    if (sumWeights.size() == 0)
        sumWeights = AlignedBuffer (bases.numBins() * lanes);

    kernels::sumOfBases (sumWeights.data(),
                         bases.data(),
                         bases.columnStride(),
                         frameActivations.data(),
                         components.data(),
                         components.size(),
                         bases.numBins());

    alignas (64) std::array<float, lanes> frameGains;
    frameGains.fill (gain * 2.0f / static_cast<float> (rate.frameLength));
    fft.overlapGained (
        out, carries[static_cast<std::size_t> (components.back())], sumWeights.data(), frameGains.data());
}

bool ComponentRenderer::renderSegment (const PaddedSignal& signal,
                                       std::size_t index,
                                       const AnalysisShape& shape,
                                       std::span<const int> wanted,
                                       ComponentLevels* levels,
                                       const PieceConsumer& consume)
{
    const auto hops = frames (shape);
    const auto firstHop = hops.first + static_cast<std::int64_t> (index) * segmentHops;
    const auto endHop = std::min (firstHop + segmentHops, hops.end);
    const auto sampleOf = [&] (std::int64_t hop) { return frameStart (hop, rate) - shape.paddingSamples; };
    const auto start = std::max (sampleOf (firstHop), std::int64_t{ 0 });
    const auto end = std::min (sampleOf (endHop), shape.lengthInSamples);
    const auto hop = fft.hop();
    std::array<bool, channelLayout::numComponents> isWanted{};

    for (const auto component : wanted)
    {
        const auto k = static_cast<std::size_t> (component);
        isWanted[k] = true;

        if (signals[k].size() == 0)
            signals[k] = AlignedBuffer ((pieceFrames + 1) * hop);
    }

    if (levels != nullptr)
        *levels = {};

    restart();

    // Complete from the fourth frame's hop on, which is the lead.
    for (auto first = firstHop - leadingFrames; first < endHop; first += pieceFrames)
    {
        const FrameRange frames{ first, std::min<std::int64_t> (first + pieceFrames, endHop) };
        samples.resize (std::max (samples.size(), frames.numSamples (rate)));

        if (! signal.read (frameStart (first, rate), { samples.data(), frames.numSamples (rate) }))
            return false;

        for (auto t = frames.first; t < frames.end; t += static_cast<std::int64_t> (lanes))
            renderBlockOf (frames, t, isWanted, levels, start - sampleOf (t), end - sampleOf (t));

        Piece piece;
        piece.first = std::max (start, sampleOf (first));
        piece.length = static_cast<std::size_t> (std::min (end, sampleOf (frames.end)) - piece.first);
        piece.lead = static_cast<std::size_t> (std::min<std::int64_t> (rate.hop, piece.first));

        for (const auto component : wanted)
        {
            const auto k = static_cast<std::size_t> (component);
            piece.components[k] = signals[k].data() + hop + (piece.first - sampleOf (first));
        }

        if (! wanted.empty() && ! consume (piece))
            return false;

        for (const auto component : wanted)
        {
            auto* data = signals[static_cast<std::size_t> (component)].data();
            std::copy_n (data + pieceFrames * hop, hop, data); // ahead of the next piece
        }
    }

    return true;
}

void ComponentRenderer::renderBlockOf (FrameRange piece,
                                       std::int64_t first,
                                       const std::array<bool, channelLayout::numComponents>& isWanted,
                                       ComponentLevels* levels,
                                       std::int64_t start,
                                       std::int64_t end)
{
    const auto offset = static_cast<std::size_t> (first - piece.first) * fft.hop();
    const auto blockLength = static_cast<std::int64_t> (lanes * fft.hop());
    setBlock (samples.data() + offset,
              { first, std::min (first + static_cast<std::int64_t> (lanes), piece.end) });

    // What counts of this block.
    const auto from = std::clamp (start, std::int64_t{ 0 }, blockLength),
               to = std::clamp (end, from, blockLength);
    const auto n = static_cast<std::size_t> (to - from);

    if (levels != nullptr)
        levels->source += kernels::signalLevel (samples.data() + offset + from, n).squares;

    for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
    {
        if (! isWanted[k] && levels == nullptr)
            continue;

        auto* out = isWanted[k] ? signals[k].data() + fft.hop() + offset : block.data();
        renderBlock (out, k);

        if (levels == nullptr)
            continue;

        // Here and now, while it is in the cache.
        const auto level = kernels::signalLevel (out + from, n);
        levels->component[k] += level.squares;
        levels->peak[k] = std::max (levels->peak[k], level.peak);
        // A finite sum proves that all samples are finite.
        levels->hasFinite[k] =
            levels->hasFinite[k] || std::isfinite (level.squares)
            || std::any_of (out + from, out + to, [] (float x) { return std::isfinite (x); });
    }
}

} // namespace tessivar
