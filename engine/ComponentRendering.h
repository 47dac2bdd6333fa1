#pragma once

#include "engine/AnalysisData.h"
#include "engine/ComponentScoring.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/BlockFft.h"
#include "engine/numerics/MatrixView.h"
#include "terms/ChannelLayout.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
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

/** What a track and its components add up to. */
struct ComponentLevels
{
    double source = 0.0; // energies: sums of squares
    ComponentValues component{};
    std::array<float, channelLayout::numComponents> peak{};
    std::array<bool, channelLayout::numComponents> hasFinite{}; // whether any sample is a finite number

    void add (const ComponentLevels& other);
};

/** Makes the component signals of one track: for sixteen frames at a time a forward transform, the model, ten
    inverse transforms.

    The mask of component k at bin f and frame t is w_k(f) h_k(t) / model(f, t), so its masked spectrum is
    w_k(f) times the quotient X(f, t) / max (model (f, t), 1e-24), and h_k(t) can wait until after the inverse
    transform: no mask and no bins x frames array is ever made. Frames of zeros give zeros, whatever their
    activations. One for each worker.
*/
class ComponentRenderer
{
public:
    /** All of it must outlive this. */
    ComponentRenderer (const LinearBases& bases,
                       MatrixView<const float> activations,
                       const AnalysisData& data);

    /** scores[i][k]: correlation of component k, before synthesis window and overlap, with the windowed
        samples of frames[i], at most sixteen; 0 for a frame of zeros. False when the source can't be read. */
    [[nodiscard]] bool
    scoreFrames (const PaddedSignal& signal, std::span<const std::int64_t> frames, ComponentValues* scores);

    /** Rendered signals of some of a segment's samples, there while they are handed over. */
    struct Piece
    {
        std::int64_t first = 0; // sample; 0 is the first after the padding
        std::size_t length = 0; // samples
        std::size_t lead = 0;   // samples that stand ahead of the first: a hop, none at the track's start
        /** From first on; null where a component is not wanted. */
        std::array<const float*, channelLayout::numComponents> components{};
    };

    /** False ends the rendering. */
    using PieceConsumer = std::function<bool (const Piece&)>;

    /** Bytes that a renderer takes. */
    [[nodiscard]] static std::uint64_t rendererBytes (const RateParameters& rate);

    /** Segments that samples 0 .. length - 1 of a track are cut into. The first frames of each are
        transformed for the segment before too, so that segments may be rendered in any order. */
    [[nodiscard]] static std::size_t numSegments (const AnalysisShape& shape, std::int64_t length);

    /** The frames whose hops the segments of a whole track are cut into, and how many there are in one. */
    [[nodiscard]] static FrameRange frames (const AnalysisShape& shape);
    static constexpr std::int64_t segmentHops = 252;

    /** Renders a segment, hands over the wanted components piece by piece while they are in the cache, and
        finds the levels of all ten, unless they are null. Returns false when the source can't be read or the
        consumer said so. */
    [[nodiscard]] bool renderSegment (const PaddedSignal& signal,
                                      std::size_t index,
                                      const AnalysisShape& shape,
                                      std::span<const int> wanted,
                                      ComponentLevels* levels,
                                      const PieceConsumer& consume);

    /** Block by block: after restart() blocks of sixteen frames follow one another, with samples that start
        at their first frame; the last one may have fewer. Every component of interest is rendered for each of
        them: sixteen hops from the first frame's start on, complete but for the first three after
        restart(). */
    void restart();
    void setBlock (const float* samples, FrameRange frames);
    void renderBlock (float* out, std::size_t component);

    /** The same for one to five components added up, times gain, at the cost of one. Each sum has a last
        component of its own. */
    void renderSumOfBlock (float* out, std::span<const int> components, float gain);

private:
    void setFrames (std::span<const std::int64_t> frames);
    /** The block of a piece that begins with frame first. Samples start .. end - 1 of it count in levels. */
    void renderBlockOf (FrameRange piece,
                        std::int64_t first,
                        const std::array<bool, channelLayout::numComponents>& isWanted,
                        ComponentLevels* levels,
                        std::int64_t start,
                        std::int64_t end);

    const LinearBases& bases;
    MatrixView<const float> activations;
    const RateParameters& rate;
    BlockFft fft;
    AlignedBuffer spectrum, frameActivations, gains; // the last two in lane layout
    AlignedBuffer block;                             // of a component that nobody keeps, or frames in lanes
    AlignedBuffer sumWeights;                        // of a sum of components, by bin, in lane layout
    std::vector<float> samples;
    std::array<OverlapCarry, channelLayout::numComponents> carries;
    std::array<AlignedBuffer, channelLayout::numComponents> signals; // of a piece, a hop ahead of it
    bool isSilent = true, wasHeard = false; // the block, and the one before once it is set
};

} // namespace tessivar
