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

EnvelopeBlock merged (std::span<const EnvelopeBlock> children) noexcept
{
    auto result = children.front();
    for (const auto& child : children)
        result = { std::min (result.low, child.low), std::max (result.high, child.high) };
    return result;
}

} // namespace

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
            store ({ encode (blockLow), encode (blockHigh) }, merged);
    }
}

EnvelopeColumn EnvelopePyramid::blockRange (std::size_t from, std::size_t to) const noexcept
{
    auto low = std::int16_t{ 32767 };
    auto high = std::int16_t{ -32767 };
    const auto take = [&] (const EnvelopeBlock& block)
    {
        low = std::min (low, block.low);
        high = std::max (high, block.high);
    };

    // Blocks outside a whole parent are read one by one, the rest a level higher.
    for (std::size_t level = 0; level < levels.size() && from < to; ++level)
    {
        const auto isTop = level + 1 == levels.size();
        while (from < to && (isTop || from % factor != 0))
            take (at (level, from++));
        while (from < to && to % factor != 0)
            take (at (level, --to));
        from /= factor;
        to /= factor;
    }
    return { decode (low), decode (high) };
}

EnvelopeColumn EnvelopePyramid::range (std::int64_t start, std::int64_t end) const noexcept
{
    const auto first = std::max<std::int64_t> (start, 0) / baseBlock;
    const auto last = (std::clamp<std::int64_t> (end, 0, numReady()) + baseBlock - 1) / baseBlock;
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
