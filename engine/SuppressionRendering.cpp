#include "engine/SuppressionRendering.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace tessivar
{

SuppressionRule SuppressionRule::forSetting (KnobValues setting)
{
    const auto [focus, fine] = setting.sanitised();
    const auto whole = static_cast<int> (focus);
    const auto fade = std::pow (0.001f, focus - static_cast<float> (whole));

    SuppressionRule rule;

    for (int c = 0; c < channelLayout::numParts; ++c)
    {
        const auto index = static_cast<std::size_t> (c);

        if (focusMaximum - focus >= static_cast<float> (c))
            rule.channelWeight[index] = 1.0f;
        else if (c < channelLayout::numParts - whole)
            rule.channelWeight[index] = fade;
    }

    // (1001^fine - 1) / 1000, exactly 0 and 1 at the ends of the knob.
    if (fine <= 0.0f)
        rule.back = 0.0f;
    else if (fine >= 1.0f)
        rule.back = 1.0f;
    else
        rule.back = static_cast<float> ((std::pow (1001.0, static_cast<double> (fine)) - 1.0) / 1000.0);

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
