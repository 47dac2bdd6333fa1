#include "ui/wave/ChannelEnergyPyramid.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace tessivar
{

namespace
{

constexpr double highestDb = 12.0;
constexpr double stepDb = 0.5;

std::uint8_t encode (double meanSquare) noexcept
{
    if (! (meanSquare > 0.0))
        return 0;
    const auto code = 255.0 + std::round ((10.0 * std::log10 (meanSquare) - highestDb) / stepDb);
    return code < 1.0 ? std::uint8_t{ 0 } : static_cast<std::uint8_t> (std::min (code, 255.0));
}

/** Mean squares of the 256 codes. */
const std::array<float, 256>& powers()
{
    static const auto table = []
    {
        std::array<float, 256> result{};
        for (std::size_t code = 1; code < result.size(); ++code)
        {
            const auto db = highestDb + stepDb * (static_cast<double> (code) - 255.0);
            result[code] = static_cast<float> (std::pow (10.0, db / 10.0));
        }
        return result;
    }();
    return table;
}

template <typename Sums>
ChannelEnergies meanOf (const Sums& sums, std::int64_t count) noexcept
{
    ChannelEnergies result{};
    std::transform (sums.begin(),
                    sums.end(),
                    result.begin(),
                    [count] (double sum) { return encode (sum / static_cast<double> (count)); });
    return result;
}

ChannelEnergies merged (std::span<const ChannelEnergies> children) noexcept
{
    std::array<double, channelLayout::numRendered> sums{};
    for (const auto& child : children)
        for (std::size_t c = 0; c < sums.size(); ++c)
            sums[c] += static_cast<double> (powers()[child[c]]);
    return meanOf (sums, static_cast<std::int64_t> (children.size()));
}

} // namespace

void ChannelEnergyPyramid::append (std::span<const float> interleaved) noexcept
{
    const auto numFrames = static_cast<std::int64_t> (interleaved.size() / numChannels);
    const auto wanted = static_cast<std::size_t> (std::min (numFrames, length - written));
    for (std::size_t frame = 0; frame < wanted; ++frame)
    {
        for (std::size_t c = 0; c < numChannels; ++c)
        {
            const auto value = static_cast<double> (interleaved[frame * numChannels + c]);
            if (std::isfinite (value))
                sums[c] += value * value;
        }
        if (++written % baseBlock == 0 || written == length)
        {
            store (meanOf (sums, (written - 1) % baseBlock + 1), merged);
            sums.fill (0.0);
        }
    }
}

const ChannelEnergies* ChannelEnergyPyramid::blockAt (std::int64_t frame) const noexcept
{
    return frame < 0 || frame >= readyFrames() ? nullptr
                                               : &at (0, static_cast<std::size_t> (frame / baseBlock));
}

ChannelEnergyPyramid::SquaredWeights ChannelEnergyPyramid::squared (const ChannelWeights& weights) noexcept
{
    // The source is the sum of the other six, so its weight adds to each of theirs.
    SquaredWeights result{};
    for (std::size_t c = 0; c < result.size(); ++c)
    {
        const auto weight = weights[c] + weights[channelLayout::source];
        result[c] = weight * weight;
    }
    return result;
}

float ChannelEnergyPyramid::keptShare (const ChannelEnergies& block, const SquaredWeights& weights) noexcept
{
    const auto& table = powers();
    auto kept = 0.0f, whole = 0.0f;
    for (std::size_t c = 0; c < weights.size(); ++c)
    {
        const auto channelPower = table[block[c]];
        kept += weights[c] * channelPower;
        whole += channelPower;
    }
    return whole > 0.0f ? std::min (kept / whole, 1.0f) : 1.0f;
}

float ChannelEnergyPyramid::power (std::int64_t frame, int channel) const noexcept
{
    const auto* block = blockAt (frame);
    return block == nullptr ? 0.0f : powers()[(*block)[static_cast<std::size_t> (channel)]];
}

float ChannelEnergyPyramid::processedPower (std::int64_t frame, const ChannelWeights& weights) const noexcept
{
    const auto* block = blockAt (frame);
    return block == nullptr
               ? 0.0f
               : powers()[(*block)[channelLayout::source]] * keptShare (*block, squared (weights));
}

float ChannelEnergyPyramid::keptGain (double frame, const ChannelWeights& weights) const noexcept
{
    const auto squares = squared (weights);
    const auto position = frame / baseBlock - 0.5; // in blocks, counted from the middle of the first
    const auto before = std::floor (position);
    const auto gainAt = [&] (double block)
    {
        const auto lastFrame = static_cast<double> (readyFrames() - 1);
        const auto* found = blockAt (
            static_cast<std::int64_t> (std::clamp (block * baseBlock, 0.0, std::max (lastFrame, 0.0))));
        return found == nullptr ? 1.0f : std::sqrt (keptShare (*found, squares));
    };
    const auto share = static_cast<float> (position - before);
    return gainAt (before) * (1.0f - share) + gainAt (before + 1.0) * share;
}

ReductionCurve ChannelEnergyPyramid::reduction (const ChannelWeights& weights,
                                                std::int64_t stepInFrames) const
{
    const auto squares = squared (weights);
    const auto blocksInStep = std::max<std::int64_t> (1, stepInFrames / baseBlock);
    const auto numBlocks = (readyFrames() + baseBlock - 1) / baseBlock;
    std::vector<ReductionCurve::Powers> steps (
        static_cast<std::size_t> ((numBlocks + blocksInStep - 1) / blocksInStep));
    for (std::int64_t i = 0; i < numBlocks; ++i)
    {
        const auto& block = at (0, static_cast<std::size_t> (i));
        const auto source = powers()[block[channelLayout::source]] / static_cast<float> (blocksInStep);
        auto& step = steps[static_cast<std::size_t> (i / blocksInStep)];
        step.source += source;
        step.processed += source * keptShare (block, squares);
    }
    return ReductionCurve (steps);
}

void ChannelEnergyPyramid::estimate (const EnvelopePyramid& source,
                                     const ChannelWeights& weights,
                                     double start,
                                     double stop,
                                     std::span<EnvelopeColumn> columns) const noexcept
{
    const auto squares = squared (weights);
    const auto ready = readyFrames();
    const auto width = (stop - start) / static_cast<double> (columns.size());

    // Blocks of about a quarter of a column: short enough that a loud hit doesn't lend its share to the
    // leakage beside it, and only a few per column.
    std::size_t level = 0;
    auto blockLength = std::int64_t{ baseBlock };
    while (level + 1 < levels.size() && static_cast<double> (blockLength * factor) * 4.0 <= width)
    {
        ++level;
        blockLength *= factor;
    }

    for (std::size_t i = 0; i < columns.size(); ++i)
    {
        const auto from = static_cast<std::int64_t> (std::floor (start + width * static_cast<double> (i)));
        const auto end = static_cast<std::int64_t> (std::ceil (start + width * static_cast<double> (i + 1)));
        const auto to = std::min (std::max (end, from + 1), length);
        // A block is complete, and safe to read, once all of its frames are ready.
        if (from < 0 || from >= to || std::min (((to - 1) / blockLength + 1) * blockLength, length) > ready)
        {
            columns[i] = source.range (from, to);
            continue;
        }

        EnvelopeColumn column{};
        for (auto at = from; at < to;)
        {
            const auto block = at / blockLength;
            const auto next = std::min ((block + 1) * blockLength, to);
            const auto part = source.range (at, next);
            const auto scale =
                std::sqrt (keptShare (this->at (level, static_cast<std::size_t> (block)), squares));
            const auto isFirst = at == from;
            column.low = isFirst ? part.low * scale : std::min (column.low, part.low * scale);
            column.high = isFirst ? part.high * scale : std::max (column.high, part.high * scale);
            at = next;
        }
        columns[i] = column;
    }
}

} // namespace tessivar
