#include "ui/transport/TransportState.h"

#include <cmath>

namespace tessivar
{

float volumeDbForPosition (double position)
{
    const auto gain = 2.0 * position * position * position;
    return gain <= 0.0 ? volumeOffDb : std::max (volumeOffDb, static_cast<float> (20.0 * std::log10 (gain)));
}

double positionForVolumeDb (float volumeDb)
{
    if (volumeDb <= volumeOffDb)
        return 0.0;
    return juce::jlimit (0.0, 1.0, std::cbrt (0.5 * std::pow (10.0, static_cast<double> (volumeDb) / 20.0)));
}

juce::String volumeText (float volumeDb)
{
    if (volumeDb <= volumeOffDb)
        return "Off";
    // A value that rounds to nothing has no sign.
    const auto tenths = juce::roundToInt (volumeDb * 10.0f);
    const auto sign =
        tenths < 0 ? juce::String::fromUTF8 ("\xe2\x88\x92") : juce::String (tenths > 0 ? "+" : "");
    return sign + juce::String (std::abs (tenths) / 10.0, 1) + " dB";
}

std::optional<double> parseTime (const juce::String& text)
{
    const auto trimmed = text.trim().replaceCharacter (',', '.');
    const auto parts = juce::StringArray::fromTokens (trimmed, ":", {});
    if (parts.isEmpty() || parts.size() > 3)
        return {};
    double seconds = 0.0;
    for (int i = 0; i < parts.size(); ++i)
    {
        const auto isLast = i + 1 == parts.size();
        const auto& part = parts[i];
        if (part.isEmpty() || ! part.containsOnly (isLast ? "0123456789." : "0123456789")
            || part.length() > 12 || ! part.containsAnyOf ("0123456789")
            || part.indexOfChar ('.') != part.lastIndexOfChar ('.'))
            return {};
        const auto value = part.getDoubleValue();
        // Every part after the first is a sixtieth of the one before it.
        if (i > 0 && value >= 60.0)
            return {};
        seconds = seconds * 60.0 + value;
    }
    return seconds;
}

void OutputLevel::update (float newLevelDb, double elapsed)
{
    levelDb = std::max (floorDb, newLevelDb);
    peakAge += elapsed;
    if (levelDb >= peakDb || peakAge > holdSeconds)
    {
        peakDb = levelDb;
        peakAge = 0.0;
    }
}

float OutputLevel::fractionFor (float level)
{
    return juce::jlimit (0.0f, 1.0f, 1.0f - level / floorDb);
}

bool NoticeState::tick (double elapsed)
{
    if (! isVisible())
        return false;
    secondsLeft -= elapsed;
    return ! isVisible();
}

} // namespace tessivar
