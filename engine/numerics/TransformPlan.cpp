#include "engine/numerics/TransformPlan.h"

#include "terms/Mathematics.h"

#include <algorithm>
#include <cassert>

namespace tessivar
{

namespace
{
std::vector<float> twiddles (std::size_t radix, std::size_t span, double scale)
{
    std::vector<float> table;

    for (std::size_t j = 0; j < span; ++j)
        for (std::size_t q = 1; q < radix; ++q)
        {
            table.push_back (static_cast<float> (scale * math::cosOfTurn (j * q, radix * span)));
            table.push_back (static_cast<float> (scale * math::sinOfTurn (j * q, radix * span)));
        }

    return table;
}
} // namespace

TransformPlan::TransformPlan (std::size_t n) : length (n / 2), silence (n)
{
    assert (n >= 64 && (n & (n - 1)) == 0);
    firstRadix = length == 32 || length == 128 ? 4 : 8;

    for (auto span = firstRadix; span < length / 8; span *= middlePasses.back().radix)
    {
        const auto rest = length / 8 / span;
        const std::size_t radix = rest == 4 || rest == 16 ? 4 : 8;
        middlePasses.push_back ({ radix, span, twiddles (radix, span, 1.0) });
    }

    lastTwiddles = twiddles (8, length / 8, 1.0);
    halvedLastTwiddles = twiddles (8, length / 8, 0.5);
    oneByOne = makeOrder (false);
    inPairs = makeOrder (true);

    for (std::size_t k = 0; k <= length; ++k)
    {
        splitTwiddles.push_back (static_cast<float> (math::cosOfTurn (k, n)));
        splitTwiddles.push_back (static_cast<float> (math::sinOfTurn (k, n)));
        const auto c = math::cosOfTurn (k, 2 * n), s = math::sinOfTurn (k, 2 * n);
        differences.push_back (static_cast<float> (c - s));
        sums.push_back (static_cast<float> (c + s));
    }
}

/** The lowest bin of each first butterfly, in the order of the results. */
std::vector<std::size_t> TransformPlan::firstBins() const
{
    std::vector<std::size_t> bins{ 0 };
    std::size_t distance = 1;

    // The last pass joins blocks of all bins with the same remainder by 8, and so on down to the first pass.
    const auto divide = [&] (std::size_t radix)
    {
        const auto blocks = bins;
        bins.clear();

        for (const auto first : blocks)
            for (std::size_t q = 0; q < radix; ++q)
                bins.push_back (first + q * distance);

        distance *= radix;
    };

    divide (8);

    std::for_each (
        middlePasses.rbegin(), middlePasses.rend(), [&] (const Pass& pass) { divide (pass.radix); });

    return bins;
}

TransformPlan::Order TransformPlan::makeOrder (bool paired) const
{
    const auto bins = firstBins();
    const auto numButterflies = bins.size();
    std::vector<std::size_t> positions (numButterflies); // of the butterfly that starts at a bin

    for (std::size_t i = 0; i < numButterflies; ++i)
        positions[bins[i]] = i * firstRadix;

    const auto placeOf = [this] (std::size_t position)
    {
        const auto block = length / 8;
        return position / block * lastStride (length) + position % block;
    };
    Order order;
    std::vector<std::vector<std::size_t>> numReady; // values of every block of every middle pass

    for (const auto& pass : middlePasses)
        numReady.emplace_back (length / (pass.radix * pass.span));

    const auto add = [&] (std::size_t position)
    {
        for (std::size_t p = 0; p < middlePasses.size(); ++p)
        {
            const auto size = middlePasses[p].radix * middlePasses[p].span, block = position / size;

            if ((numReady[p][block] += firstRadix) == size)
            {
                order.joins.push_back ({ p, placeOf (block * size) });
                ++order.steps.back().numJoins;
            }
        }
    };

    std::vector<bool> isDone (numButterflies);

    for (const auto bin : bins)
    {
        if (isDone[bin])
            continue;

        const auto mirrored = paired ? (numButterflies - bin) % numButterflies : bin;
        isDone[mirrored] = true;
        order.steps.push_back ({ bin, placeOf (positions[bin]), placeOf (positions[mirrored]), 0 });
        add (positions[bin]);

        if (mirrored != bin)
            add (positions[mirrored]);
    }

    return order;
}

std::vector<float> windowForOverlap (std::span<const float> window)
{
    const auto hop = window.size() / 4;
    std::vector<float> ordered;

    for (std::size_t i = 0; i < hop / 2; i += 2)
        for (const auto sample : { i, i + 1, i + hop / 2, i + hop / 2 + 1 })
            for (std::size_t quarter = 0; quarter < 4; ++quarter)
                ordered.push_back (window[quarter * hop + sample]);

    return ordered;
}

} // namespace tessivar
