#pragma once

#include <juce_core/juce_core.h>

#include <array>
#include <cstdint>
#include <optional>

namespace tessivar
{

/** The instrument a track's close microphone was aimed at. Each code is one bit, so that a set of types can
    be held as a mask. `other` is also the type of a track whose file name tells nothing.
*/
enum class DrumType : std::uint32_t
{
    other = 1,
    kick = 2,
    snare = 4,
    tomHigh = 8,
    tomLow = 16,
    tomFloor = 32,
    oh = 64,
    hiHat = 128
};

/** Every type, in the order in which the abbreviation lists are registered: a word that stands in two lists
    belongs to the type that comes first here.
*/
inline constexpr std::array<DrumType, 8> drumTypeRegistrationOrder{ DrumType::kick,     DrumType::snare,
                                                                    DrumType::tomFloor, DrumType::tomHigh,
                                                                    DrumType::tomLow,   DrumType::oh,
                                                                    DrumType::hiHat,    DrumType::other };

/** The types a user can choose from, in the chooser's order. Overheads have no name and are not offered. */
inline constexpr std::array<DrumType, 7> drumTypeChooserOrder{ DrumType::kick,   DrumType::snare,
                                                               DrumType::hiHat,  DrumType::tomHigh,
                                                               DrumType::tomLow, DrumType::tomFloor,
                                                               DrumType::other };

constexpr std::uint32_t drumTypeCode (DrumType type)
{
    return static_cast<std::uint32_t> (type);
}

/** Whether an analysis renders tracks of this type; all others pass through unchanged. */
constexpr bool isRenderedType (DrumType type)
{
    return type != DrumType::other && type != DrumType::oh;
}

/** The type with this code; nothing for a number that is not one of the eight single bits. */
std::optional<DrumType> drumTypeFromCode (std::uint32_t code);

/** The name that is shown to the user; empty for `oh`, which has none. */
juce::String drumTypeDisplayName (DrumType type);

/** The key of the type's abbreviation list in the settings, and its word on the command line: kick, snare,
    hiHat, tomHigh, tomLow, tomFloor, oh or other.
*/
juce::String drumTypeKey (DrumType type);

/** The type for a word of the command line, upper and lower case alike; nothing for any other word. */
std::optional<DrumType> parseDrumType (const juce::String& word);

} // namespace tessivar
