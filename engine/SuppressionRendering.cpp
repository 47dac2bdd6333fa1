#include "engine/SuppressionRendering.h"

#include "terms/FocusRule.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace tessivar
{

SuppressionRule SuppressionRule::forSetting (KnobValues setting)
{
    const auto [focus, fine] = setting.sanitised();
    const auto whole = static_cast<int> (focus);
    const auto fade = layerFade (focus);

    SuppressionRule rule;

    for (int c = 0; c < channelLayout::numParts; ++c)
    {
        const auto index = static_cast<std::size_t> (c);

        if (focusMaximum - focus >= static_cast<float> (c))
            rule.channelWeight[index] = 1.0f;
        else if (c < channelLayout::numParts - whole)
            rule.channelWeight[index] = fade;
    }

    rule.back = mixedBack (fine);
    return rule;
}

ChannelWeights SuppressionRule::toWeights() const
{
    ChannelWeights result;

    for (std::size_t c = 0; c < channelLayout::numParts; ++c)
        result[c] = (1.0f - back) * channelWeight[c];

    result[channelLayout::source] = back;
    return result;
}

float renderSuppression (std::span<float> dest, std::span<const float> frames, const SuppressionRule& rule)
{
    assert (frames.size() == channelLayout::numRendered * dest.size());
    float peak = 0.0f;
    const auto* frame = frames.data();

    for (auto& out : dest)
    {
        float kept = 0.0f;

        for (std::size_t c = 0; c < channelLayout::numParts; ++c)
            kept += rule.channelWeight[c] * frame[c];

        out = kept + rule.back * (frame[channelLayout::source] - kept);
        peak = std::max (peak, std::abs (out));
        frame += channelLayout::numRendered;
    }

    return peak;
}

void renderSuppression (std::span<float> dest, const ChannelPlanes& channels, const SuppressionRule& rule)
{
    std::fill (dest.begin(), dest.end(), 0.0f);

    for (std::size_t c = 0; c < channelLayout::numParts; ++c)
        if (const auto weight = rule.channelWeight[c]; weight != 0.0f)
            for (std::size_t i = 0; i < dest.size(); ++i)
                dest[i] += weight * channels[c][i];

    if (rule.back != 0.0f)
        for (std::size_t i = 0; i < dest.size(); ++i)
            dest[i] += rule.back * (channels[channelLayout::source][i] - dest[i]);
}

} // namespace tessivar
