#pragma once

#include "ui/wave/ChannelEnergyPyramid.h"

#include <juce_graphics/juce_graphics.h>

#include <memory>

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

} // namespace tessivar
