#include "ui/DrumDrawing.h"

#include "ui/Palette.h"

#include <algorithm>
#include <array>

namespace tessivar
{
namespace
{

struct DrumLook
{
    DrumType type;
    juce::Colour colour;
    Icon icon;
};

const DrumLook& lookOf (DrumType type)
{
    static const auto looks = std::to_array<DrumLook> ({
        { DrumType::kick, palette::kick, Icon::kick },
        { DrumType::snare, palette::snare, Icon::snare },
        { DrumType::hiHat, palette::hiHat, Icon::hiHat },
        { DrumType::tomHigh, palette::tomHigh, Icon::tomHigh },
        { DrumType::tomLow, palette::tomLow, Icon::tomLow },
        { DrumType::tomFloor, palette::tomFloor, Icon::tomFloor },
        { DrumType::other, palette::other, Icon::microphone },
    });
    const auto found =
        std::find_if (looks.begin(), looks.end(), [type] (const auto& look) { return look.type == type; });
    return found != looks.end() ? *found : looks.back();
}

} // namespace

juce::Colour drumColour (DrumType type)
{
    return lookOf (type).colour;
}

Icon drumIcon (DrumType type)
{
    return lookOf (type).icon;
}

juce::String drumName (DrumType type)
{
    return canBeChosen (type) ? drumTypeDisplayName (type) : juce::String::fromUTF8 ("\xe2\x80\x93");
}

} // namespace tessivar
