#pragma once

#include "ui/wave/BlockPyramid.h"

#include <cstdint>
#include <span>

namespace tessivar
{

/** Smallest and largest sample of a stretch of audio, linear amplitude, low <= high. */
struct EnvelopeColumn
{
    float low = 0.0f;
    float high = 0.0f;

    [[nodiscard]] float peak() const noexcept { return high > -low ? high : -low; }
    bool operator== (const EnvelopeColumn&) const = default;
};

/** Both extremes of a block, as they are stored. */
struct EnvelopeBlock
{
    std::int16_t low = 0;
    std::int16_t high = 0;
};

/** Smallest and largest samples of a signal in blocks of 256, and of 4, 16, 64 ... such blocks, so that any
    stretch at any zoom is drawn from a few stored values without reading audio.

    Stored as 16-bit numbers with steps of 1/16384: up to 6 dB over full scale, anything above is drawn at
    that height. A step is a third of a pixel at the largest vertical zoom on a plot 800 pixels high. 5.3
    bytes per 256 samples: 1.2 MB for 20 minutes at 48 kHz.

    Threads as in BlockPyramid. A sample that isn't finite counts as 0.
*/
class EnvelopePyramid : private BlockPyramid<EnvelopeBlock, 256>
{
public:
    using BlockPyramid::baseBlock; // samples
    static constexpr float largestLevel = 2.0f;

    /** Takes memory for a signal of this many samples, none of them ready yet. */
    explicit EnvelopePyramid (std::int64_t lengthInSamples) : BlockPyramid (lengthInSamples) {}

    /** Adds the next samples, any number at a time. Those beyond the length are ignored. Writing thread only.
    */
    void append (std::span<const float> samples) noexcept;

    [[nodiscard]] std::int64_t lengthInSamples() const noexcept { return length; }
    /** Samples that can be queried: whole blocks, and the shorter one at the end. */
    [[nodiscard]] std::int64_t readySamples() const noexcept { return numReady(); }
    [[nodiscard]] bool isComplete() const noexcept { return readySamples() == length; }

    /** Extremes of all ready base blocks that overlap samples [start, end); both 0 when there are none. */
    [[nodiscard]] EnvelopeColumn range (std::int64_t start, std::int64_t end) const noexcept;

    /** Divides samples [start, end) into columns.size() equal parts and fills each as range() would; a part
        narrower than a block takes its block's extremes. Columns before sample 0 or past the ready samples
        become 0.
    */
    void query (double start, double end, std::span<EnvelopeColumn> columns) const noexcept;

private:
    [[nodiscard]] EnvelopeColumn blockRange (std::size_t from, std::size_t to) const noexcept;

    // The writing thread's position in the signal, and its unfinished block.
    std::int64_t written = 0;
    float blockLow = 0.0f;
    float blockHigh = 0.0f;
};

} // namespace tessivar
