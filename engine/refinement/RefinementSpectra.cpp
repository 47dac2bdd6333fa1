#include "engine/refinement/RefinementSpectra.h"

#include <algorithm>

namespace tessivar::refinement
{

void transpose (float* dest, const float* source, std::size_t rows, std::size_t columns)
{
    constexpr std::size_t block = 16;

    for (std::size_t r0 = 0; r0 < rows; r0 += block)
        for (std::size_t c0 = 0; c0 < columns; c0 += block)
            for (auto c = c0; c < std::min (c0 + block, columns); ++c)
                for (auto r = r0; r < std::min (r0 + block, rows); ++r)
                    dest[c * rows + r] = source[r * columns + c];
}

bool StandardChannels::load (std::int64_t start, std::int64_t length)
{
    first = std::clamp (start, std::int64_t{ 0 }, track.ownLength);
    end = std::clamp (start + length, first, track.ownLength);
    frames.resize (static_cast<std::size_t> (end - first) * method::numRenderChannels);
    return frames.empty() || track.standard->readFrames (first, frames);
}

void StandardChannels::output (int focus, std::int64_t start, std::span<float> dest) const
{
    const auto numKept = static_cast<std::size_t> (numFocusSteps - focus);

    for (std::size_t i = 0; i < dest.size(); ++i)
    {
        const auto position = start + static_cast<std::int64_t> (i);
        float sum = 0.0f;

        if (position >= first && position < end)
        {
            const auto* frame = frames.data() + (position - first) * method::numRenderChannels;

            for (std::size_t c = 0; c < numKept; ++c)
                sum += frame[c];
        }

        dest[i] = sum;
    }
}

} // namespace tessivar::refinement
