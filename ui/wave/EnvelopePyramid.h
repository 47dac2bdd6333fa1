#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

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

/** Smallest and largest samples of a signal in blocks of 256, and of 4, 16, 64 ... such blocks, so that any
    stretch at any zoom is drawn from a few stored values without reading audio.

    Stored as 16-bit numbers with steps of 1/16384: up to 6 dB over full scale, anything above is drawn at
    that height. A step is a third of a pixel at the largest vertical zoom on a plot 800 pixels high. 5.3
    bytes per 256 samples: 1.2 MB for 20 minutes at 48 kHz.

    The length is fixed at construction, where all memory is taken. One thread appends; any thread may read
    meanwhile and sees the blocks completed so far. A sample that isn't finite counts as 0.
*/
class EnvelopePyramid
{
public:
    static constexpr int baseBlock = 256; // samples
    static constexpr int factor = 4;      // blocks of one level in one block of the next
    static constexpr float largestLevel = 2.0f;

    /** Takes memory for a signal of this many samples, none of them ready yet. */
    explicit EnvelopePyramid (std::int64_t lengthInSamples);

    /** Adds the next samples, any number at a time. Those beyond the length are ignored. Writing thread only.
    */
    void append (std::span<const float> samples) noexcept;

    [[nodiscard]] std::int64_t lengthInSamples() const noexcept { return length; }
    /** Samples that can be queried: whole blocks, and the shorter one at the end. */
    [[nodiscard]] std::int64_t readySamples() const noexcept;
    [[nodiscard]] bool isComplete() const noexcept { return readySamples() == length; }

    /** Extremes of all ready base blocks that overlap samples [start, end); both 0 when there are none. */
    [[nodiscard]] EnvelopeColumn range (std::int64_t start, std::int64_t end) const noexcept;

    /** Divides samples [start, end) into columns.size() equal parts and fills each as range() would; a part
        narrower than a block takes its block's extremes. Columns before sample 0 or past the ready samples
        become 0.
    */
    void query (double start, double end, std::span<EnvelopeColumn> columns) const noexcept;

private:
    struct Block
    {
        std::int16_t low = 0;
        std::int16_t high = 0;
    };

    struct Level
    {
        std::size_t offset = 0;
        std::size_t count = 0;
    };

    void finishBlock() noexcept;
    [[nodiscard]] EnvelopeColumn blockRange (std::size_t from, std::size_t to) const noexcept;

    std::int64_t length;
    std::vector<Level> levels;
    std::vector<Block> blocks; // level after level

    // The writing thread's position in the signal, and its unfinished block.
    std::int64_t written = 0;
    float blockLow = 0.0f;
    float blockHigh = 0.0f;

    // Raised once a block and every parent it completes are stored; readers look no further.
    std::atomic<std::size_t> readyBlocks{ 0 };
};

} // namespace tessivar
