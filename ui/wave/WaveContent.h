#pragma once

#include "ui/wave/WaveData.h"

#include <optional>

namespace tessivar
{

/** The columns drawn for a track: exact ones where supplied, else those of the stored blocks, and an estimate
    for the processed signal. Columns lie on a fixed grid from sample 0, so that scrolling moves a drawing
    without changing it. Message thread.
*/
class WaveContent
{
public:
    /** Below this many samples per column the stored blocks are too coarse for the source. */
    static constexpr double coarsestExactSource = 2.0 * EnvelopePyramid::baseBlock;

    void setTrack (WaveTrack newTrack);
    [[nodiscard]] const WaveTrack& track() const noexcept { return shown; }
    [[nodiscard]] bool isAnalysed() const noexcept { return shown.energies != nullptr; }

    /** Weights of the sounding setting. Columns supplied for other weights are dropped. */
    void setWeights (const WaveChannelWeights& newWeights);
    [[nodiscard]] const WaveChannelWeights& weights() const noexcept { return channelWeights; }

    /** Sets the processed signal's own pyramid for the current weights, which replaces the estimate wherever
        a column is wide enough. Null drops it, and so does a change of weights. */
    void setProcessed (std::shared_ptr<const EnvelopePyramid> pyramid) { processed = std::move (pyramid); }

    /** Fills both spans, of equal size, starting at this column of the grid. `processedColumns` stays as it
        is when the track isn't analysed. */
    void read (std::int64_t firstColumn,
               double samplesPerColumn,
               std::span<EnvelopeColumn> sourceColumns,
               std::span<EnvelopeColumn> processedColumns) const;

    /** What to ask for to make these columns exact, plus half their number on either side; nothing when they
        are exact or already asked for. */
    [[nodiscard]] std::optional<WaveEnvelopeRequest>
    requestFor (std::int64_t firstColumn, double samplesPerColumn, int numColumns);

    /** Takes an answer to the newest request. Ignores any other and returns false. */
    bool takeExact (const WaveExactEnvelope& answer);

private:
    struct Layer
    {
        bool isAskedFor = false;
        std::vector<EnvelopeColumn> columns;
        std::vector<bool> isExact;

        /** Moves the layer to another range of the same grid; columns in both keep their values. */
        void moveTo (std::int64_t offset, std::size_t size);
        void clear();
        [[nodiscard]] bool isWhole() const;
        bool take (std::int64_t offset, const std::vector<EnvelopeColumn>& answer);
        void copyTo (std::int64_t offset, std::span<EnvelopeColumn> destination) const;
    };

    [[nodiscard]] bool covers (
        std::int64_t firstColumn, double samplesPerColumn, int numColumns, bool source, bool processed) const;

    WaveTrack shown;
    WaveChannelWeights channelWeights{};
    std::shared_ptr<const EnvelopePyramid> processed;
    WaveEnvelopeRequest request; // the newest one
    Layer exactSource;
    Layer exactProcessed;
};

} // namespace tessivar
