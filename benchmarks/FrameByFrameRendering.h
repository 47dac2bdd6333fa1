#pragma once

#include "engine/AnalysisSettings.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/MatrixView.h"
#include "terms/ChannelLayout.h"

#include <array>
#include <memory>

namespace tessivar::benchmarks
{

/** The anchor of the rendering: the component signals of one track by FFTW alone, frame by frame.

    A frame takes a real transform, the quotient of spectrum and model, and for each component the product
    with its bases, a real inverse transform and the overlap-add. Plans are measured (FFTW_MEASURE); vector
    loops are as wide as the machine allows; there are no masks and no whole-length arrays.
*/
class FrameByFrameRendering
{
public:
    /** bases: ten times numBins weights, each component stride floats after the previous one; window:
        frameLength weights for analysis and synthesis. */
    FrameByFrameRendering (const RateParameters& rate,
                           const float* bases,
                           std::size_t stride,
                           const float* window);
    ~FrameByFrameRendering();

    FrameByFrameRendering (const FrameByFrameRendering&) = delete;
    FrameByFrameRendering& operator= (const FrameByFrameRendering&) = delete;

    /** Renders numFrames frames, the first of which starts at samples; numFrames is the same in every call.
        Completes numFrames hops of every component from the start of the first frame; what overlaps them is
        kept for the next call. */
    void render (const float* samples, MatrixView<const float> activations, std::size_t numFrames);

    [[nodiscard]] const float* component (std::size_t k) const { return outputs[k].data(); }

private:
    struct Plans;

    const RateParameters rate;
    const float* const window;
    std::unique_ptr<Plans> plans;
    AlignedBuffer bases, doubledBases; // one weight a bin, and each weight twice, for (re, im)
    AlignedBuffer frame, spectrum, quotient, masked, output;
    std::array<AlignedBuffer, channelLayout::numComponents> outputs;
};

} // namespace tessivar::benchmarks
