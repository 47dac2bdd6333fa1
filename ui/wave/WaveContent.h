#pragma once

#include "terms/ChannelLayout.h"
#include "ui/wave/ChannelEnergyPyramid.h"

#include <juce_graphics/juce_graphics.h>

#include <memory>
#include <optional>

namespace tessivar
{

/** What the viewer shows of a track. The pyramids may keep growing meanwhile. */
struct WaveTrack
{
    juce::String name;
    juce::Colour colour;              // of its drum type
    double sampleRate = 48000.0;      // Hz
    std::int64_t lengthInSamples = 0; // of the time axis; the track itself may be shorter
    std::shared_ptr<const EnvelopePyramid> source;
    std::shared_ptr<const ChannelEnergyPyramid> energies; // null: not analysed
    std::uint32_t contentId = 0;                          // another one for other samples
};

/** How the layers are coloured, depending on the track and on what is heard. */
enum class WaveLook
{
    notAnalysed, // the source alone, grey
    processed,   // kept in the colour of the type, removed in ember behind it
    bypassed,    // the source light, kept faint
    removed,     // removed bright, kept dark
    excluded,    // left out of the analysis: the source alone, dimmed
    asIs         // passed through: the source in the colour of the type
};

/** Asks for columns that stored blocks can't give: column i holds the extremes of the samples named by
    waveColumnSamples(). */
struct WaveEnvelopeRequest
{
    std::uint64_t serial = 0;      // returned with the answer
    std::int64_t firstColumn = 0;  // columns count from sample 0
    double samplesPerColumn = 1.0; // > 0
    int numColumns = 0;
    bool wantsSource = false;    // false: stored blocks are fine enough for the source
    bool wantsProcessed = false; // with the weights last given to the viewer
};

/** Samples [from, to) of a column, at least one: neighbours share a sample where columns are narrower than
    that.
*/
struct WaveSampleRange
{
    std::int64_t from = 0;
    std::int64_t to = 0;
};
[[nodiscard]] WaveSampleRange waveColumnSamples (std::int64_t column, double samplesPerColumn) noexcept;

/** Exact columns, possibly in parts and in any order. A layer that wasn't asked for stays empty. */
struct WaveExactEnvelope
{
    std::uint64_t serial = 0;
    std::int64_t firstColumn = 0;
    std::vector<EnvelopeColumn> source;
    std::vector<EnvelopeColumn> processed;
};

/** Builds the columns of a request from blocks of samples as they are read, on any one thread. */
class WaveColumnBuilder
{
public:
    WaveColumnBuilder (std::int64_t firstColumn, double samplesPerColumn, int numColumns);

    /** Adds samples [first, first + samples.size()) of the signal. A sample that isn't finite counts as 0. */
    void add (std::int64_t first, std::span<const float> samples);

    /** Columns so far; those that no sample reached are 0. */
    [[nodiscard]] const std::vector<EnvelopeColumn>& columns() const noexcept { return result; }

private:
    std::int64_t firstColumn;
    double samplesPerColumn;
    std::vector<EnvelopeColumn> result;
    std::vector<bool> touched;
};

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
    void setWeights (const ChannelWeights& newWeights);
    [[nodiscard]] const ChannelWeights& weights() const noexcept { return channelWeights; }

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
    ChannelWeights channelWeights{};
    std::shared_ptr<const EnvelopePyramid> processed;
    WaveEnvelopeRequest request; // the newest one
    Layer exactSource;
    Layer exactProcessed;
};

} // namespace tessivar
