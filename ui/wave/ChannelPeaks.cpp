#include "ui/wave/ChannelPeaks.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>

namespace tessivar
{

namespace
{
constexpr auto limit = std::numeric_limits<std::int16_t>::max();
constexpr float stepsPerUnit = static_cast<float> (limit) / EnvelopePyramid::largestLevel;
constexpr float roundingShare = 1.0e-5f; // of a bound, more than single precision loses

/** The next step outwards: what is stored lies around what was found. */
EnvelopeBlock encode (EnvelopeColumn column) noexcept
{
    const auto stored = [] (float steps)
    { return static_cast<std::int16_t> (std::clamp (steps, -float{ limit }, float{ limit })); };
    return { stored (std::floor (column.low * stepsPerUnit)),
             stored (std::ceil (column.high * stepsPerUnit)) };
}

/** A value beyond what can be stored has no bound. */
EnvelopeColumn decode (EnvelopeBlock block) noexcept
{
    constexpr auto infinity = std::numeric_limits<float>::infinity();
    return { block.low > -limit ? static_cast<float> (block.low) / stepsPerUnit : -infinity,
             block.high < limit ? static_cast<float> (block.high) / stepsPerUnit : infinity };
}
} // namespace

ChannelPeaks::ChannelPeaks (std::int64_t lengthInFrames)
    : length (std::max<std::int64_t> (lengthInFrames, 0)),
      blocks (static_cast<std::size_t> ((length + baseBlock - 1) / baseBlock))
{
}

void ChannelPeaks::append (std::span<const float> interleaved) noexcept
{
    while (! interleaved.empty() && written < length)
    {
        const auto toBlockEnd = std::min (baseBlock - written % baseBlock, length - written);
        const auto count = std::min (static_cast<std::size_t> (toBlockEnd) * numChannels, interleaved.size());
        auto found = written % baseBlock == 0 ? std::array<EnvelopeColumn, numChannels>{} : unfinished;

        for (std::size_t i = 0; i < count; i += numChannels)
        {
            const auto* frame = &interleaved[i];
            auto rest = std::isfinite (frame[channelLayout::source]) ? frame[channelLayout::source] : 0.0f;

            for (std::size_t c = 0; c < numChannels; ++c)
            {
                const auto value = std::isfinite (frame[c]) ? frame[c] : 0.0f;
                found[c].low = std::min (found[c].low, value);
                found[c].high = std::max (found[c].high, value);
                rest -= c < channelLayout::numParts ? value : 0.0f;
            }

            largestError = std::max (largestError, std::abs (rest));
        }

        unfinished = found;
        std::transform (found.begin(),
                        found.end(),
                        blocks[static_cast<std::size_t> (written / baseBlock)].begin(),
                        encode);
        written += static_cast<std::int64_t> (count / numChannels);
        interleaved = interleaved.subspan (count);
    }
}

EnvelopeColumn ChannelPeaks::boundOf (const Block& block,
                                      const ChannelWeights& weights,
                                      std::span<const float> shares) const noexcept
{
    std::array<EnvelopeColumn, numChannels> peaks;
    std::transform (block.begin(), block.end(), peaks.begin(), decode);
    EnvelopeColumn bound{ -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity() };

    for (const auto share : shares)
    {
        EnvelopeColumn sum{ -std::abs (share) * largestError, std::abs (share) * largestError };
        auto slack = 0.0f;

        for (std::size_t c = 0; c < numChannels; ++c)
        {
            const auto weight = c < channelLayout::numParts ? weights[c] - share : weights[c] + share;

            if (weight == 0.0f)
                continue;

            const auto low = weight * (weight > 0.0f ? peaks[c].low : peaks[c].high);
            const auto high = weight * (weight > 0.0f ? peaks[c].high : peaks[c].low);
            sum.low += low;
            sum.high += high;
            slack += roundingShare * std::max (std::abs (low), std::abs (high));
        }

        bound.low = std::max (bound.low, sum.low - slack);
        bound.high = std::min (bound.high, sum.high + slack);
    }

    return bound;
}

std::optional<std::vector<EnvelopeColumn>> ChannelPeaks::findColumns (const WaveEnvelopeRequest& request,
                                                                      const ChannelWeights& weights,
                                                                      const ReadProcessed& read) const
{
    struct Candidate
    {
        EnvelopeColumn bound;
        std::int64_t from = 0, to = 0; // samples of the block that lie in the column
    };

    std::vector<EnvelopeColumn> columns (static_cast<std::size_t> (std::max (request.numColumns, 0)));
    std::vector<Candidate> candidates;

    // The parts add up to the source, so an equal share of each may as well be taken from it: where much is
    // kept, little then remains to be bounded. The closest bound has the share of one of the weights.
    std::vector<float> shares (weights.begin(), weights.begin() + channelLayout::numParts);
    shares.push_back (0.0f);
    std::sort (shares.begin(), shares.end());
    shares.erase (std::unique (shares.begin(), shares.end()), shares.end());

    std::vector<float> signal (baseBlock);

    for (std::size_t i = 0; i < columns.size(); ++i)
    {
        const auto wanted =
            waveColumnSamples (request.firstColumn + static_cast<std::int64_t> (i), request.samplesPerColumn);
        const auto end = std::min (wanted.to, length);
        candidates.clear();

        for (auto from = std::max<std::int64_t> (wanted.from, 0); from < end;)
        {
            const auto block = from / baseBlock;
            const auto to = std::min ((block + 1) * baseBlock, end);
            candidates.push_back (
                { boundOf (blocks[static_cast<std::size_t> (block)], weights, shares), from, to });
            from = to;
        }

        // The widest first: after it most others can't add anything.
        std::sort (candidates.begin(),
                   candidates.end(),
                   [] (const Candidate& a, const Candidate& b)
                   { return a.bound.high - a.bound.low > b.bound.high - b.bound.low; });

        for (std::size_t k = 0; k < candidates.size(); ++k)
        {
            const auto& [bound, from, to] = candidates[k];

            if (k > 0 && bound.low >= columns[i].low && bound.high <= columns[i].high)
                continue;

            const std::span<float> piece (signal.data(), static_cast<std::size_t> (to - from));

            if (! read (from, piece))
                return std::nullopt;

            const auto [low, high] = std::minmax_element (piece.begin(), piece.end());
            columns[i] =
                k == 0 ? EnvelopeColumn{ *low, *high }
                       : EnvelopeColumn{ std::min (columns[i].low, *low), std::max (columns[i].high, *high) };
        }
    }

    return columns;
}

} // namespace tessivar
