#pragma once

#include "engine/AnalysisData.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/MatrixView.h"
#include "terms/ChannelLayout.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tessivar
{

/** The ten bases of one track on linear frequency. */
class LinearBases
{
public:
    /** melBases: the track's 80 rows of ten bases, each column melStride floats after the one before. Between
        mel bands the values are interpolated linearly at the positions of data.interpolation. */
    LinearBases (const float* melBases, std::size_t melStride, const AnalysisData& data);

    [[nodiscard]] const float* component (std::size_t k) const { return values.data() + k * stride; }
    [[nodiscard]] const float* data() const { return values.data(); }
    [[nodiscard]] std::size_t columnStride() const { return stride; }
    [[nodiscard]] std::size_t numBins() const { return bins; }

private:
    std::size_t bins, stride;
    AlignedBuffer values;
};

/** Makes the component signals of one track: for each frame a forward transform, the model, ten inverse
    transforms.

    The mask of component k at bin f and frame t is w_k(f) h_k(t) / model(f, t), so its masked spectrum is
    w_k(f) times the quotient X(f, t) / max (model (f, t), 1e-24), and h_k(t) can wait until after the inverse
    transform: no mask and no bins x frames array is ever made. One for each worker.
*/
class ComponentRenderer
{
public:
    ComponentRenderer (const LinearBases& bases,
                       MatrixView<const float> activations,
                       const AnalysisData& data);

    /** Analyses frame t from its n = frameLength samples; false for a frame of zeros, whose components are
        zeros. */
    bool setFrame (std::int64_t t, const float* samples);

    [[nodiscard]] const FrameAnalyser& analyser() const { return frameAnalyser; }

    /** Component k of the frame, straight from the inverse transform: n samples, valid until the next call,
        neither windowed nor multiplied by componentScale (k). */
    [[nodiscard]] const float* component (std::size_t k);

    /** 2 h_k(t) / n: the transform's scaling, the activation, and the factor 2 that the synthesis window
        expects. */
    [[nodiscard]] float componentScale (std::size_t k) const;

    /** Renders samples first .. end - 1 of a track (0 is the first after the padding) into ten buffers and
        gives the track's own samples of the same range. Returns false when the source can't be read. */
    struct Segment
    {
        std::vector<float> source;
        std::array<OverlapSum, channelLayout::numComponents> components;

        [[nodiscard]] const float* component (std::size_t k) const { return components[k].samples(); }
    };

    [[nodiscard]] bool renderSegment (const PaddedSignal& signal,
                                      std::int64_t first,
                                      std::int64_t end,
                                      const AnalysisShape& shape,
                                      Segment& segment);

private:
    const LinearBases& bases;
    MatrixView<const float> activations;
    const AnalysisData& data;
    FrameAnalyser frameAnalyser;
    std::array<AlignedBuffer, channelLayout::numComponents> packedBases;
    AlignedBuffer quotient, output, block;
    const float* frameActivations = nullptr;
};

} // namespace tessivar
