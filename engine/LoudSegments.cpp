#include "engine/LoudSegments.h"

#include <algorithm>
#include <numeric>

namespace tessivar
{

std::vector<std::size_t>
loudestSegments (std::span<const float> powers, std::size_t framesPerSegment, std::size_t fewest)
{
    const auto count = (powers.size() + framesPerSegment - 1) / framesPerSegment;
    std::vector<double> power (count);
    std::vector<std::size_t> segments (count);
    std::iota (segments.begin(), segments.end(), std::size_t{ 0 });

    for (std::size_t n = 0; n < count; ++n)
    {
        const auto first = n * framesPerSegment;
        const auto part = powers.subspan (first, std::min (framesPerSegment, powers.size() - first));
        power[n] = std::accumulate (part.begin(), part.end(), 0.0);
    }

    std::stable_sort (
        segments.begin(), segments.end(), [&] (std::size_t a, std::size_t b) { return power[a] > power[b]; });
    segments.resize (std::min (count, std::max (fewest, (count + 2) / 3)));
    std::sort (segments.begin(), segments.end());
    return segments;
}

} // namespace tessivar
