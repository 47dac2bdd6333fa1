#include "ui/wave/EnvelopePyramid.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{

constexpr float stepsPerUnit = 32767.0f / EnvelopePyramid::largestLevel;

std::int16_t encode (float value) noexcept
{
    const auto clamped = std::clamp (value, -EnvelopePyramid::largestLevel, EnvelopePyramid::largestLevel);
    return static_cast<std::int16_t> (std::lround (clamped * stepsPerUnit));
}

float decode (std::int16_t value) noexcept
{
    return static_cast<float> (value) / stepsPerUnit;
}

} // namespace

EnvelopePyramid::EnvelopePyramid (std::int64_t lengthInSamples)
    : length (std::max<std::int64_t> (lengthInSamples, 0))
{
    auto count = static_cast<std::size_t> ((length + baseBlock - 1) / baseBlock);
    std::size_t total = 0;
    while (count > 0)
    {
        levels.push_back ({ total, count });
        total += count;
        if (count <= factor)
            break;
        count = (count + factor - 1) / factor;
    }
    blocks.resize (total);
}

void EnvelopePyramid::append (std::span<const float> samples) noexcept
{
    const auto wanted = std::min (static_cast<std::int64_t> (samples.size()), length - written);
    for (std::size_t i = 0; i < static_cast<std::size_t> (wanted); ++i)
    {
        const auto value = std::isfinite (samples[i]) ? samples[i] : 0.0f;
        const auto isFirst = written % baseBlock == 0;
        blockLow = isFirst ? value : std::min (blockLow, value);
        blockHigh = isFirst ? value : std::max (blockHigh, value);
        if (++written % baseBlock == 0 || written == length)
            finishBlock();
    }
}

void EnvelopePyramid::finishBlock() noexcept
{
    auto index = readyBlocks.load (std::memory_order_relaxed);
    const auto numReady = index + 1;
    blocks[index] = { encode (blockLow), encode (blockHigh) };

    // A parent is stored after its last child: the fourth, or the end of the level.
    for (std::size_t level = 1; level < levels.size(); ++level)
    {
        const auto& children = levels[level - 1];
        if ((index + 1) % factor != 0 && index + 1 != children.count)
            break;

        const auto parent = index / factor;
        auto merged = blocks[children.offset + parent * factor];
        for (auto child = parent * factor + 1; child <= index; ++child)
        {
            merged.low = std::min (merged.low, blocks[children.offset + child].low);
            merged.high = std::max (merged.high, blocks[children.offset + child].high);
        }
        blocks[levels[level].offset + parent] = merged;
        index = parent;
    }
    readyBlocks.store (numReady, std::memory_order_release);
}

std::int64_t EnvelopePyramid::readySamples() const noexcept
{
    const auto ready = static_cast<std::int64_t> (readyBlocks.load (std::memory_order_acquire));
    return std::min (ready * baseBlock, length);
}

EnvelopeColumn EnvelopePyramid::blockRange (std::size_t from, std::size_t to) const noexcept
{
    auto low = std::int16_t{ 32767 };
    auto high = std::int16_t{ -32767 };
    const auto take = [&] (const Level& level, std::size_t index)
    {
        low = std::min (low, blocks[level.offset + index].low);
        high = std::max (high, blocks[level.offset + index].high);
    };

    // Blocks outside a whole parent are read one by one, the rest a level higher.
    for (std::size_t level = 0; level < levels.size() && from < to; ++level)
    {
        const auto isTop = level + 1 == levels.size();
        while (from < to && (isTop || from % factor != 0))
            take (levels[level], from++);
        while (from < to && to % factor != 0)
            take (levels[level], --to);
        from /= factor;
        to /= factor;
    }
    return { decode (low), decode (high) };
}

EnvelopeColumn EnvelopePyramid::range (std::int64_t start, std::int64_t end) const noexcept
{
    const auto ready = readyBlocks.load (std::memory_order_acquire);
    const auto first = std::max<std::int64_t> (start, 0) / baseBlock;
    const auto last = std::min ((std::max<std::int64_t> (end, 0) + baseBlock - 1) / baseBlock,
                                static_cast<std::int64_t> (ready));
    if (start >= end || first >= last)
        return {};
    return blockRange (static_cast<std::size_t> (first), static_cast<std::size_t> (last));
}

void EnvelopePyramid::query (double start, double end, std::span<EnvelopeColumn> columns) const noexcept
{
    const auto width = (end - start) / static_cast<double> (columns.size());
    for (std::size_t i = 0; i < columns.size(); ++i)
    {
        const auto from = static_cast<std::int64_t> (std::floor (start + width * static_cast<double> (i)));
        const auto to = static_cast<std::int64_t> (std::ceil (start + width * static_cast<double> (i + 1)));
        columns[i] = range (from, std::max (to, from + 1));
    }
}

} // namespace tessivar
