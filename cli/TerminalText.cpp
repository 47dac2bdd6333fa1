#include "cli/TerminalText.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tessivar
{

std::string formatTable (const std::vector<std::vector<juce::String>>& rows)
{
    std::vector<int> widths;
    for (const auto& row : rows)
    {
        widths.resize (std::max (widths.size(), row.size()));
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max (widths[column], row[column].length());
    }

    std::string text;
    const auto append = [&] (const auto& cellAt, std::size_t numCells)
    {
        juce::String line;
        for (std::size_t column = 0; column < numCells; ++column)
            line << cellAt (column).paddedRight (' ', widths[column] + 2);
        text += line.trimEnd().toStdString() + "\n";
    };

    for (const auto& row : rows)
    {
        append ([&row] (std::size_t column) { return row[column]; }, row.size());
        if (&row == &rows.front())
            append ([&widths] (std::size_t column)
                    { return juce::String::repeatedString ("-", widths[column]); },
                    widths.size());
    }
    return text;
}

juce::String formatBytes (std::uint64_t bytes)
{
    if (bytes < 1000)
        return juce::String (bytes) + " bytes";

    constexpr std::array units{ "kB", "MB", "GB", "TB", "PB", "EB" };
    auto value = static_cast<double> (bytes) / 1000.0;
    std::size_t unit = 0;
    // 999.5 would be written as 1000 with three digits.
    while (value >= 999.5 && unit + 1 < units.size())
    {
        value /= 1000.0;
        ++unit;
    }
    const int decimals = value < 9.995 ? 2 : value < 99.95 ? 1 : 0;
    const auto number =
        decimals > 0 ? juce::String (value, decimals) : juce::String (juce::roundToInt (value));
    return number + " " + units[unit];
}

juce::String formatSeconds (double seconds)
{
    if (seconds < 59.95)
        return juce::String (seconds, 1) + " s";

    const auto whole = static_cast<std::int64_t> (std::llround (seconds));
    const auto twoDigits = [] (std::int64_t value) { return juce::String (value).paddedLeft ('0', 2); };
    if (whole < 3600)
        return juce::String (whole / 60) + ":" + twoDigits (whole % 60);
    return juce::String (whole / 3600) + ":" + twoDigits (whole / 60 % 60) + ":" + twoDigits (whole % 60);
}

juce::String formatDb (double levelDb)
{
    const auto rounded = std::round (levelDb * 10.0) / 10.0;
    if (rounded == 0.0)
        return "0.0";
    return (rounded > 0.0 ? "+" : "") + juce::String (rounded, 1);
}

juce::String formatKnob (float value)
{
    return juce::String (static_cast<double> (value), 3).trimCharactersAtEnd ("0").trimCharactersAtEnd (".");
}

juce::String shellQuoted (const juce::String& text)
{
    const auto shown = printable (text);

    // Double quotes serve the shells of every system, as long as nothing inside means more to one of them.
    return shown.containsAnyOf ("\"$`\\!%") ? "'" + shown.replace ("'", "'\\''") + "'" : "\"" + shown + "\"";
}

} // namespace tessivar
