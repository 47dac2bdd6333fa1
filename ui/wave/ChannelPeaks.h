#pragma once

#include "terms/ChannelLayout.h"
#include "ui/wave/EnvelopePyramid.h"
#include "ui/wave/WaveContent.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace tessivar
{

/** Smallest and largest samples of the seven channels of a rendered track in blocks of 512 frames. They bound
    the processed signal of a block for any weights, so that the exact columns of a whole track are found by
    reading only the blocks that may hold an extreme.

    28 bytes per 512 frames: 3.2 MB for 20 minutes at 48 kHz. One thread at a time.
*/
class ChannelPeaks
{
public:
    static constexpr int numChannels = channelLayout::numRendered;
    static constexpr int baseBlock = 512; // frames

    explicit ChannelPeaks (std::int64_t lengthInFrames);

    /** Adds the next frames, seven interleaved samples each, any number at a time. Frames beyond the length
        are ignored; a sample that isn't finite counts as 0.
    */
    void append (std::span<const float> interleaved) noexcept;

    [[nodiscard]] bool isComplete() const noexcept { return written == length; }

    /** Fills dest with the weighted sum of the channels from this frame on. False stops it all. */
    using ReadProcessed = std::function<bool (std::int64_t start, std::span<float> dest)>;

    /** The columns of a request for the processed signal, as WaveColumnBuilder makes them of all samples.
        Nothing when a read fails. All frames are known.
    */
    [[nodiscard]] std::optional<std::vector<EnvelopeColumn>> findColumns (const WaveEnvelopeRequest& request,
                                                                          const ChannelWeights& weights,
                                                                          const ReadProcessed& read) const;

private:
    using Block = std::array<EnvelopeBlock, numChannels>;

    [[nodiscard]] EnvelopeColumn
    boundOf (const Block& block, const ChannelWeights& weights, std::span<const float> shares) const noexcept;

    const std::int64_t length;
    std::int64_t written = 0;
    std::vector<Block> blocks;
    float largestError = 0.0f; // of the parts' sum against the source
    std::array<EnvelopeColumn, numChannels> unfinished{};
};

} // namespace tessivar
