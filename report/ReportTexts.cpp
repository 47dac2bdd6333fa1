#include "report/ReportTexts.h"

#include "terms/Mathematics.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

namespace
{
const auto minusSign = juce::String::charToString (0x2212);
} // namespace

juce::String levelText (double levelDb)
{
    if (levelDb < -199.0)
        return minusSign + juce::String::charToString (0x221e);

    const auto tenths = std::lround (levelDb * 10.0);
    return (tenths < 0 ? minusSign : juce::String())
           + juce::String (static_cast<double> (std::abs (tenths)) / 10.0, 1);
}

juce::String changeText (double levelDb)
{
    return (std::lround (levelDb * 10.0) > 0 ? "+" : "") + levelText (levelDb);
}

juce::String shareText (double share)
{
    constexpr auto least = 0.001;

    if (share < 1.0e-14)
        return "nothing";

    if (share < least)
        return "less than 0.1 %";

    return (share < 0.0995 ? juce::String (100.0 * share, 1)
                           : juce::String (juce::roundToInt (100.0 * share)))
           + " %";
}

juce::String timeText (double seconds, bool withTenths)
{
    const auto tenths = std::llround (seconds * (withTenths ? 10.0 : 1.0)) * (withTenths ? 1 : 10);
    const auto whole = tenths / 10;
    const auto two = [] (long long number) { return juce::String (number).paddedLeft ('0', 2); };
    auto text =
        whole >= 3600 ? juce::String (whole / 3600) + ":" + two (whole / 60 % 60) : juce::String (whole / 60);
    text << ":" << two (whole % 60);
    return withTenths ? text + "." + juce::String (tenths % 10) : text;
}

juce::String countText (std::size_t count, const char* noun)
{
    return juce::String (count) + " " + noun + (count == 1 ? "" : "s");
}

juce::String listText (const juce::StringArray& names)
{
    const auto last = names.size() - 1;
    return last < 1 ? names.joinIntoString ({})
                    : names.joinIntoString (", ", 0, last) + " and " + names[last];
}

juce::String levelsText (double beforeDb, double afterDb, bool isProcessed)
{
    const auto arrow = juce::String::charToString (0x2192);
    return levelText (beforeDb) + (isProcessed ? " " + arrow + " " + levelText (afterDb) : juce::String());
}

juce::String typeText (DrumType type)
{
    const juce::String name (drumTypeDisplayName (type));
    return name.isNotEmpty() ? name : juce::String ("Overhead");
}

juce::String capitalized (const juce::String& text)
{
    return text.substring (0, 1).toUpperCase() + text.substring (1);
}

double gainToDb (float gain)
{
    return 20.0 * math::log10 (std::max (static_cast<double> (gain), 1.0e-10));
}

} // namespace tessivar
