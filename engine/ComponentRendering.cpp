#include "engine/ComponentRendering.h"

#include "engine/numerics/simd/SpectralKernels.h"

#include <algorithm>

namespace tessivar
{

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
    const auto start = shape.paddingSamples + first; // in the padded signal
    const auto frames = FrameRange::overlapping (start, start + end - first, shape.numFrames, rate);
    const auto blockLength = frames.numSamples (rate);

    if (block.size() < blockLength)
        block = AlignedBuffer (blockLength);

    for (auto& component : segment.components)
        component.clear (length, static_cast<std::size_t> (rate.frameLength));

    segment.source.resize (length);

    if (! signal.read (frameStart (frames.first, rate), { block.data(), blockLength })
        || ! signal.read (start, segment.source))
        return false;

    for (auto t = frames.first; t < frames.end; ++t)
        if (setFrame (t, block.data() + (t - frames.first) * rate.hop))
            for (std::size_t k = 0; k < channelLayout::numComponents; ++k)
                segment.components[k].add (
                    frameStart (t, rate) - start, component (k), data.window.span(), componentScale (k));

    return true;
}

} // namespace tessivar
