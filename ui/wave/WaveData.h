#pragma once

#include "ui/wave/ChannelEnergyPyramid.h"

#include <juce_graphics/juce_graphics.h>

#include <memory>

namespace tessivar
{

/** What the viewer shows of a track. The pyramids may still be growing while they are shown. */
struct WaveTrack
{
    juce::String name;
    juce::Colour colour;              // of its drum type
    double sampleRate = 48000.0;      // Hz
    std::int64_t lengthInSamples = 0; // of the time axis; the track itself may be shorter
    std::shared_ptr<const EnvelopePyramid> source;
    std::shared_ptr<const ChannelEnergyPyramid> energies; // null: not analysed
};

/** How the layers are coloured, by what the track is and what is heard. */
enum class WaveLook
{
    notAnalysed, // the source alone, grey
    processed,   // kept in the colour of the type, removed in ember behind it
    bypassed,    // the source light, kept faint
    removed,     // removed bright, kept dark
    excluded,    // left out of the analysis: the source alone, dimmed
    asIs         // passed through: the source in the colour of the type
};

/** Asks for columns that stored blocks cannot give: column i holds the extremes of the samples
    waveColumnSamples() names. */
struct WaveEnvelopeRequest
{
    std::uint64_t serial = 0;      // handed back with the answer
    std::int64_t firstColumn = 0;  // columns are counted from sample 0
    double samplesPerColumn = 1.0; // > 0
    int numColumns = 0;
    bool wantsSource = false;    // else stored blocks are fine enough for the source
    bool wantsProcessed = false; // with the weights last given to the viewer
};

/** Samples [from, to) of a column, never none: neighbours share a sample where a column is narrower than one.
*/
struct WaveSampleRange
{
    std::int64_t from = 0;
    std::int64_t to = 0;
};
[[nodiscard]] WaveSampleRange waveColumnSamples (std::int64_t column, double samplesPerColumn) noexcept;

/** Exact columns; may come in parts and in any order. A layer that was not asked for stays empty. */
struct WaveExactEnvelope
{
    std::uint64_t serial = 0;
    std::int64_t firstColumn = 0;
    std::vector<EnvelopeColumn> source;
    std::vector<EnvelopeColumn> processed;
};

/** Makes the columns of a request from blocks of samples as they are read, on any one thread. */
class WaveColumnBuilder
{
public:
    WaveColumnBuilder (std::int64_t firstColumn, double samplesPerColumn, int numColumns);

    /** Samples [first, first + samples.size()) of the signal. A sample that is not finite counts as 0. */
    void add (std::int64_t first, std::span<const float> samples);

    /** Columns so far; one that no sample reached is 0. */
    [[nodiscard]] const std::vector<EnvelopeColumn>& columns() const noexcept { return result; }

private:
    std::int64_t firstColumn;
    double samplesPerColumn;
    std::vector<EnvelopeColumn> result;
    std::vector<bool> touched;
};

} // namespace tessivar
