#pragma once

#include "ui/wave/WaveData.h"

#include <optional>

namespace tessivar
{

/** The columns that are drawn of a track: exact ones where they have been supplied, else those of the stored
    blocks, and for the processed signal an estimate. Columns lie on a fixed grid from sample 0, so that
    scrolling moves a drawing and never changes it. Message thread.
*/
class WaveContent
{
public:
    /** Below this many samples to a column the stored blocks are too coarse for the source. */
    static constexpr double coarsestExactSource = 2.0 * EnvelopePyramid::baseBlock;

    void setTrack (WaveTrack newTrack);
    [[nodiscard]] const WaveTrack& track() const noexcept { return shown; }
    [[nodiscard]] bool isAnalysed() const noexcept { return shown.energies != nullptr; }

    /** Weights of the setting that sounds. What was supplied for others is dropped. */
    void setWeights (const WaveChannelWeights& newWeights);
    [[nodiscard]] const WaveChannelWeights& weights() const noexcept { return channelWeights; }

    /** The processed signal's own pyramid for the present weights: replaces the estimate wherever a column is
        wide enough for it. Null takes it away; so does a change of weights. */
    void setProcessed (std::shared_ptr<const EnvelopePyramid> pyramid) { processed = std::move (pyramid); }

    /** Fills both spans, of equal size, from a column of the grid on. `processedColumns` stays as it is when
        the track is not analysed. */
    void read (std::int64_t firstColumn,
               double samplesPerColumn,
               std::span<EnvelopeColumn> sourceColumns,
               std::span<EnvelopeColumn> processedColumns) const;

    /** What to ask for so that these columns are exact, with half their number more on both sides; nothing
        when they are exact, or asked for already. */
    [[nodiscard]] std::optional<WaveEnvelopeRequest>
    requestFor (std::int64_t firstColumn, double samplesPerColumn, int numColumns);

    /** Takes an answer to the newest request. Returns false, and changes nothing, for any other. */
    bool takeExact (const WaveExactEnvelope& answer);

private:
    struct Layer
    {
        bool isAskedFor = false;
        std::vector<EnvelopeColumn> columns;
        std::vector<bool> isExact;

        /** Lays the columns out for another range of the same grid; those in both keep what they hold. */
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
