#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tessivar
{

/** The segments in which a track is loudest, in order: all of a minute and a half, of longer tracks a third,
    which hold next to all that sums of squares and products are made of.

    @param powers    frame by frame
    @param fewest    segments that are a minute and a half
*/
[[nodiscard]] std::vector<std::size_t>
loudestSegments (std::span<const float> powers, std::size_t framesPerSegment, std::size_t fewest);

} // namespace tessivar
