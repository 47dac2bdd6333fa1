#include "engine/ComponentRendering.h"

#include "engine/numerics/simd/SpectralKernels.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

LinearBases::LinearBases (const float* melBases, std::size_t melStride, const AnalysisData& data)
    : bins (static_cast<std::size_t> (data.rate.numBins())), stride ((bins + 15) / 16 * 16),
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

ComponentRenderer::ComponentRenderer (const LinearBases& b, MatrixView<const float> h, const AnalysisData& d)
    : bases (b), activations (h), data (d), frameAnalyser (d.window.span()),
      quotient (frameAnalyser.fft().spectrumFloats()), output (frameAnalyser.fft().length())
{
    for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
    {
        packedBases[k] = AlignedBuffer (frameAnalyser.fft().packedWeightFloats());
        frameAnalyser.fft().packWeights (packedBases[k].data(), bases.component (k));
    }
}

bool ComponentRenderer::setFrame (std::int64_t t, const float* samples)
{
    frameActivations = activations.column (static_cast<std::size_t> (t));

    if (! frameAnalyser.analyse (samples))
        return false;

    kernels::divideByModel (quotient.data(),
                            frameAnalyser.spectrum(),
                            bases.data(),
                            bases.columnStride(),
                            frameActivations,
                            bases.numBins());
    frameAnalyser.fft().prepare (quotient.data());
    return true;
}

const float* ComponentRenderer::component (std::size_t k)
{
    frameAnalyser.fft().inverseWeighted (output.data(), packedBases[k].data());
    return output.data();
}

float ComponentRenderer::componentScale (std::size_t k) const
{
    return 2.0f / static_cast<float> (data.rate.frameLength) * frameActivations[k];
}

bool ComponentRenderer::renderSegment (const PaddedSignal& signal,
                                       std::int64_t first,
                                       std::int64_t end,
                                       const AnalysisShape& shape,
                                       Segment& segment)
{
    const auto& rate = shape.rate;
    const auto length = static_cast<std::size_t> (end - first);
    const auto frameLength = static_cast<std::size_t> (rate.frameLength);
    const auto start = shape.paddingSamples + first; // in the padded signal
    // Frame t sounds from frameStart (t) on for one frame length: these overlap the segment.
    const auto firstFrame = start / rate.hop + 1;
    const auto endFrame =
        std::min (shape.numFrames, (shape.paddingSamples + end + rate.frameLength + rate.hop - 1) / rate.hop);
    const auto blockStart = frameStart (firstFrame, rate);
    const auto blockLength =
        static_cast<std::size_t> (std::max (endFrame - 1 - firstFrame, std::int64_t{ 0 }) * rate.hop)
        + frameLength;

    if (block.size() < blockLength)
        block = AlignedBuffer (blockLength);

    // Room for the parts of the outer frames that lie outside the segment.
    for (auto& component : segment.components)
    {
        if (component.size() < length + 2 * frameLength)
            component = AlignedBuffer (length + 2 * frameLength);
        else
            component.clear();
    }

    segment.offsets.fill (frameLength);
    segment.source.resize (length);

    if (! signal.read (blockStart, { block.data(), blockLength }) || ! signal.read (start, segment.source))
        return false;

    for (auto t = firstFrame; t < endFrame; ++t)
    {
        if (! setFrame (t, block.data() + (t - firstFrame) * rate.hop))
            continue;

        const auto offset = static_cast<std::size_t> (frameStart (t, rate) - start + rate.frameLength);

        for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
            overlapAdd (
                segment.components[k].data() + offset, component (k), data.window.span(), componentScale (k));
    }

    return true;
}

} // namespace tessivar
