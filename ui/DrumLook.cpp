#include "ui/DrumLook.h"

#include "ui/Palette.h"

#include <array>

namespace tessivar
{
namespace
{

struct Entry
{
    juce::Colour colour;
    Icon icon;
    const char* name;
};

const Entry& entryFor (DrumLook look)
{
    static const std::array<Entry, 8> entries{ { { palette::kick, Icon::kick, "Kick" },
                                                 { palette::snare, Icon::snare, "Snare" },
                                                 { palette::hiHat, Icon::hiHat, "HiHat" },
                                                 { palette::tomHigh, Icon::tomHigh, "High Tom" },
                                                 { palette::tomLow, Icon::tomLow, "Low Tom" },
                                                 { palette::tomFloor, Icon::tomFloor, "Floor Tom" },
                                                 { palette::other, Icon::microphone, "Other" },
                                                 { palette::other, Icon::microphone, "\xe2\x80\x93" } } };
    return entries[static_cast<std::size_t> (look)];
}

} // namespace

juce::Colour drumColour (DrumLook look)
{
    return entryFor (look).colour;
}

Icon drumIcon (DrumLook look)
{
    return entryFor (look).icon;
}

juce::String drumName (DrumLook look)
{
    return juce::String::fromUTF8 (entryFor (look).name);
}

} // namespace tessivar
