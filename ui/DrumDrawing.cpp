#include "ui/DrumDrawing.h"

#include "ui/Palette.h"

#include <array>

namespace tessivar
{
juce::Colour drumColour (DrumType type)
{
    switch (type)
    {
        case DrumType::kick:
            return palette::kick;
        case DrumType::snare:
            return palette::snare;
        case DrumType::hiHat:
            return palette::hiHat;
        case DrumType::tomHigh:
            return palette::tomHigh;
        case DrumType::tomLow:
            return palette::tomLow;
        case DrumType::tomFloor:
            return palette::tomFloor;
        case DrumType::oh:
        case DrumType::other:
            break;
    }
    return palette::other;
}

Icon drumIcon (DrumType type)
{
    switch (type)
    {
        case DrumType::kick:
            return Icon::kick;
        case DrumType::snare:
            return Icon::snare;
        case DrumType::hiHat:
            return Icon::hiHat;
        case DrumType::tomHigh:
            return Icon::tomHigh;
        case DrumType::tomLow:
            return Icon::tomLow;
        case DrumType::tomFloor:
            return Icon::tomFloor;
        case DrumType::oh:
        case DrumType::other:
            break;
    }
    return Icon::microphone;
}

juce::String drumName (DrumType type)
{
    return canBeChosen (type) ? drumTypeDisplayName (type) : juce::String::fromUTF8 ("\xe2\x80\x93");
}

} // namespace tessivar
