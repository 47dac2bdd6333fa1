#pragma once

#include "engine/AnalysisData.h"
#include "engine/ComponentRendering.h"
#include "engine/ComponentScoring.h"
#include "engine/SampleStorage.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/numerics/AlignedBuffer.h"
#include "terms/ChannelFolding.h"
#include "terms/DrumType.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace tessivar
{

/** What the decomposition of a Group found, and what it takes to render signals from it: some 40 bytes a
    frame, where the rendered signals of one track take 20 bytes a sample. */
struct Factorization
{
    AnalysisShape shape;
    AnalysisData data;
    AlignedBuffer bases; // shape.melRows() x 10, the rows of an active track after those of the one before
    AlignedBuffer activations; // 10 x shape.numFrames
};

/** The components of one track in the order of its slots, rendered when they are read. Reads that follow one
    another cost least. Several threads may read at once; each renders for itself. */
class ComponentReader final : public ComponentSource
{
public:
    struct Track
    {
        std::size_t row = 0; // among the active tracks
        DrumType drumType = DrumType::other;
        std::int64_t ownLength = 0; // samples
        ComponentOrder slots{};
        ComponentLevel level{}; // of sums
    };

    /** source must outlive this. */
    ComponentReader (std::shared_ptr<const Factorization> factors, const Track& track, SampleSource& source);
    ~ComponentReader() override;

    [[nodiscard]] std::int64_t lengthInSamples() const override { return track.ownLength; }
    [[nodiscard]] bool read (std::int64_t start, std::size_t n, const Signals& components) override;

    /** Samples of sums[c], the components 0 .. c added up, at their level; null pointers are skipped. Each
        costs as much as one component. */
    [[nodiscard]] bool readSums (std::int64_t start, std::size_t n, const Signals& sums);

private:
    class Renderer;

    [[nodiscard]] bool read (std::int64_t start, std::size_t n, const Signals& signals, bool asSums);
    [[nodiscard]] std::unique_ptr<Renderer> take (std::int64_t position);

    const std::shared_ptr<const Factorization> factors;
    const Track track;
    const PaddedSignal signal;
    const LinearBases bases;
    std::mutex idleLock; // guards idle
    std::vector<std::unique_ptr<Renderer>> idle;
};

} // namespace tessivar
