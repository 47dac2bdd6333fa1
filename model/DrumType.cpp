#include "model/DrumType.h"

namespace tessivar
{

namespace
{
struct DrumTypeRow
{
    DrumType type;
    const char* key;
    const char* displayName;
};

constexpr std::array<DrumTypeRow, 8> drumTypeRows{ {
    { DrumType::kick, "kick", "Kick" },
    { DrumType::snare, "snare", "Snare" },
    { DrumType::tomFloor, "tomFloor", "Floor Tom" },
    { DrumType::tomHigh, "tomHigh", "High Tom" },
    { DrumType::tomLow, "tomLow", "Low Tom" },
    { DrumType::oh, "oh", "" },
    { DrumType::hiHat, "hiHat", "HiHat" },
    { DrumType::other, "other", "Other" },
} };

const DrumTypeRow& rowOf (DrumType type)
{
    for (const auto& row : drumTypeRows)
        if (row.type == type)
            return row;

    jassertfalse;
    return drumTypeRows.back();
}
} // namespace

std::optional<DrumType> drumTypeFromCode (std::uint32_t code)
{
    for (const auto& row : drumTypeRows)
        if (drumTypeCode (row.type) == code)
            return row.type;

    return std::nullopt;
}

juce::String drumTypeDisplayName (DrumType type)
{
    return rowOf (type).displayName;
}

juce::String drumTypeKey (DrumType type)
{
    return rowOf (type).key;
}

std::optional<DrumType> parseDrumType (const juce::String& word)
{
    for (const auto& row : drumTypeRows)
        if (word.equalsIgnoreCase (row.key))
            return row.type;

    return std::nullopt;
}

} // namespace tessivar
