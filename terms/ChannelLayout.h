#pragma once

#include <array>

namespace tessivar
{

/** The signals that an analysis makes of a track, and the channels that hold them. */
namespace channelLayout
{
/** Components that a track is taken apart into, best first. */
inline constexpr int numComponents = 10;

/** Channels of a rendered track: 0..4 its best components, 5 the residual, 6 the source. */
inline constexpr int numBestComponents = 5, residual = 5, source = 6, numRendered = 7;

/** Channels that add up to the source: all but the source itself. */
inline constexpr int numParts = source;

/** Channels of a track that was not rendered: the source alone. */
inline constexpr int numUnrendered = 1;
} // namespace channelLayout

/** Linear gains of the channels of a rendered track; their weighted sum is what is heard. */
using ChannelWeights = std::array<float, channelLayout::numRendered>;

} // namespace tessivar
