#include "ui/wave/WaveTimeText.h"

#include <array>
#include <cmath>

namespace tessivar
{

juce::String waveTimeText (double seconds, int decimals)
{
    const auto nanoseconds =
        std::isfinite (seconds) && seconds > 0.0 ? std::floor (seconds * 1.0e9 + 1.0) : 0.0;
    const auto totalMs = static_cast<juce::int64> (nanoseconds / 1.0e6);
    const auto wholeSeconds = totalMs / 1000;
    const auto minutes = wholeSeconds / 60;

    const auto twoDigits = [] (juce::int64 value) { return juce::String (value).paddedLeft ('0', 2); };
    auto text =
        minutes < 60 ? juce::String (minutes) : juce::String (minutes / 60) + ":" + twoDigits (minutes % 60);
    text << ":" << twoDigits (wholeSeconds % 60);
    if (decimals > 0)
        text << "." << juce::String (totalMs % 1000).paddedLeft ('0', 3).substring (0, decimals);
    return text;
}

WaveRulerTicks WaveRulerTicks::forScale (double pixelsPerSecond)
{
    static constexpr std::array<WaveRulerTicks, 19> choices{ {
        { 0.001, 10, 5, 3 }, { 0.002, 4, 2, 3 }, { 0.005, 5, 0, 3 },  { 0.01, 10, 5, 2 },  { 0.02, 4, 2, 2 },
        { 0.05, 5, 0, 2 },   { 0.1, 10, 5, 1 },  { 0.2, 4, 2, 1 },    { 0.5, 5, 0, 1 },    { 1.0, 10, 5, 0 },
        { 2.0, 4, 2, 0 },    { 5.0, 5, 0, 0 },   { 10.0, 10, 5, 0 },  { 30.0, 6, 3, 0 },   { 60.0, 6, 3, 0 },
        { 120.0, 4, 2, 0 },  { 300.0, 5, 0, 0 }, { 600.0, 10, 5, 0 }, { 1800.0, 6, 3, 0 },
    } };

    for (const auto& choice : choices)
        if (choice.labelSpacing * pixelsPerSecond >= (choice.decimals == 3 ? 84.0 : 70.0))
            return choice;
    return { 3600.0, 6, 3, 0 };
}

} // namespace tessivar
