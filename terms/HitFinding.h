#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <span>
#include <vector>

namespace tessivar
{

/** Finds the loud hits of a track in the largest magnitudes of short blocks, about 5 ms each, and returns the
    blocks in which they begin, ascending.

    A hit is a block at least twice as high as the 15 ms before it and the highest within 50 ms. It is strong
    from a third of the median height of the eight highest hits, so that a single clipped one doesn't hide the
    others. Below -60 dB nothing counts: that is hiss, whose blocks easily double.
*/
[[nodiscard]] inline std::vector<std::size_t> findHitBlocks (std::span<const float> peaks,
                                                             double blocksPerSecond)
{
    struct Stroke
    {
        std::size_t onset = 0; // block in which the rise begins
        float peak = 0.0f;
    };

    constexpr float hiss = 0.001f;
    const auto blocksIn = [blocksPerSecond] (double seconds)
    { return std::max<std::size_t> (1, static_cast<std::size_t> (std::lround (seconds * blocksPerSecond))); };
    const auto before = blocksIn (0.015), around = blocksIn (0.05);
    const auto at = [&] (std::size_t index) { return peaks.begin() + static_cast<std::ptrdiff_t> (index); };
    std::vector<Stroke> strokes;

    for (std::size_t i = 0; i < peaks.size(); ++i)
    {
        const auto height = peaks[i];

        if (height < hiss)
            continue;

        const auto from = i > around ? i - around : 0;
        const auto to = std::min (peaks.size(), i + around + 1);

        if (std::any_of (at (from), at (i), [height] (float p) { return p >= height; })
            || std::any_of (at (i + 1), at (to), [height] (float p) { return p > height; }))
            continue;

        auto onset = i;

        while (onset > from && peaks[onset - 1] > height * 0.5f)
            --onset;

        const auto quiet = onset > before ? onset - before : 0;

        if (onset > 0 && (onset == from || *std::min_element (at (quiet), at (onset)) > height * 0.5f))
            continue;

        strokes.push_back ({ onset, height });
    }

    std::vector<float> heights;

    for (const auto& stroke : strokes)
        heights.push_back (stroke.peak);

    const auto used = std::min<std::size_t> (heights.size(), 8);
    std::partial_sort (heights.begin(),
                       heights.begin() + static_cast<std::ptrdiff_t> (used),
                       heights.end(),
                       std::greater<>());
    const auto threshold = used == 0 ? 0.0f : heights[used / 2] / 3.0f;
    std::vector<std::size_t> hits;

    for (const auto& stroke : strokes)
        if (stroke.peak >= threshold)
            hits.push_back (stroke.onset);

    return hits;
}

} // namespace tessivar
