#pragma once

#include "terms/ChannelFolding.h"
#include "terms/ChannelLayout.h"
#include "terms/KnobValues.h"

#include <array>
#include <span>

namespace tessivar
{

/** The focus and fine rule.

    focus f: n = trunc (f), fade = 0.001^(f - n); channel c sounds with weight 1 while 5 - f >= c, with weight
    fade while c < 6 - n, and not at all above. fine g mixes back = (1001^g - 1) / 1000 of what was removed:
    out = kept + back * (source - kept). At focus 0 all six channels sound, which is the source; at focus 5
    the best component alone; at fine 1 the source whatever the focus.
*/
struct SuppressionRule
{
    std::array<float, channelLayout::numParts> channelWeight{}; // of channels 0..5
    float back = 0.0f; // 0..1, share of the removed part that is mixed back

    [[nodiscard]] static SuppressionRule forSetting (KnobValues setting);

    /** Weights of all seven channels in the processed signal; playback ramps them from setting to setting. */
    [[nodiscard]] ChannelWeights toWeights() const;
};

/** Renders interleaved seven-channel frames to the processed signal by the rule: dest.size() frames, frames
    holds 7 * dest.size() floats. Sums channel by channel in ascending order, then mixes back. dest must not
    overlap frames. Returns the largest absolute output value.
*/
float renderSuppression (std::span<float> dest, std::span<const float> frames, const SuppressionRule& rule);

/** The same of channels one by one, n samples each. A channel without a weight may be null; so may the source
    where nothing is mixed back. */
void renderSuppression (std::span<float> dest, const ChannelPlanes& channels, const SuppressionRule& rule);

} // namespace tessivar
