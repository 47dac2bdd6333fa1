#include "model/TrackKnobs.h"

#include <array>
#include <charconv>
#include <regex>
#include <string>

namespace tessivar
{

namespace
{
constexpr std::size_t longestText = 200; // bytes; a clipboard may hold a book

juce::String shortest (float value)
{
    std::array<char, 32> digits{};
    const auto end = std::to_chars (digits.data(), digits.data() + digits.size(), value).ptr;
    return juce::String (digits.data(), static_cast<std::size_t> (end - digits.data()));
}

juce::String settingText (const char* name, const KnobValues& values)
{
    return juce::String (name) + " Focus " + shortest (values.focus) + " Fine " + shortest (values.fine);
}

std::optional<KnobValues> parseValues (const std::string& focus, const std::string& fine)
{
    KnobValues values;

    for (const auto& [text, value] : { std::pair{ &focus, &values.focus }, std::pair{ &fine, &values.fine } })
    {
        const auto* const end = text->data() + text->size();

        if (const auto parsed = std::from_chars (text->data(), end, *value);
            parsed.ec != std::errc() || parsed.ptr != end)
            return {};
    }

    return values == values.sanitised() ? std::optional (values) : std::nullopt;
}
} // namespace

juce::String knobText (const TrackKnobs& knobs)
{
    return "Tessivar settings: " + settingText ("A", knobs.a) + ", " + settingText ("B", knobs.b) + ", "
           + (knobs.sounding == KnobSetting::a ? "A" : "B") + " sounds";
}

std::optional<TrackKnobs> parseKnobText (const juce::String& text)
{
    static const std::regex pattern ("\\s*Tessivar settings: A Focus (\\S+) Fine (\\S+), B Focus (\\S+) "
                                     "Fine (\\S+), ([AB]) sounds\\s*");
    std::smatch parts;

    if (text.getNumBytesAsUTF8() > longestText)
        return {};

    const auto line = text.toStdString();

    if (! std::regex_match (line, parts, pattern))
        return {};

    const auto a = parseValues (parts[1], parts[2]), b = parseValues (parts[3], parts[4]);

    if (! a || ! b)
        return {};

    return TrackKnobs{ *a, *b, parts[5] == "A" ? KnobSetting::a : KnobSetting::b };
}

} // namespace tessivar
