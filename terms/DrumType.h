#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tessivar
{

/** The instrument a track's close microphone was aimed at. Each code is one bit, so a set of types fits a
    mask; codes stand in group files and never change. `other` is also the type when a name tells nothing.
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

/** What is known of a drum type, but for its words (model/Abbreviations) and its drawing (ui/DrumDrawing). */
struct DrumTypeRow
{
    DrumType type;
    const char* key;  // of its word list in the settings, and its word on the command line
    const char* name; // as shown; a type without one can't be chosen
    const char* noun; // in sentences
    bool isRendered;  // by an analysis: a close microphone. All others pass through unchanged
    bool isTom;
    int registered; // place among the word lists: a word of two lists belongs to the first
    int saved;      // place among the word lists in the settings file
};

/** In the order in which types are listed and chosen. */
inline constexpr auto drumTypeRows = std::to_array<DrumTypeRow> ({
    // type, key, name, noun, rendered, tom, registered, saved
    { DrumType::kick, "kick", "Kick", "a kick", true, false, 0, 0 },
    { DrumType::snare, "snare", "Snare", "a snare", true, false, 1, 1 },
    { DrumType::hiHat, "hiHat", "HiHat", "a hi-hat", true, false, 6, 6 },
    { DrumType::tomHigh, "tomHigh", "High Tom", "a high tom", true, true, 3, 2 },
    { DrumType::tomLow, "tomLow", "Low Tom", "a low tom", true, true, 4, 3 },
    { DrumType::tomFloor, "tomFloor", "Floor Tom", "a floor tom", true, true, 2, 4 },
    { DrumType::oh, "oh", "", "an overhead", false, false, 5, 5 },
    { DrumType::other, "other", "Other", "no drum", false, false, 7, 7 },
});

inline constexpr auto numDrumTypes = drumTypeRows.size();

constexpr const DrumTypeRow& rowOf (DrumType type)
{
    return *std::find_if (
        drumTypeRows.begin(), drumTypeRows.end(), [type] (const auto& row) { return row.type == type; });
}

constexpr const char* drumTypeKey (DrumType type)
{
    return rowOf (type).key;
}

constexpr const char* drumTypeDisplayName (DrumType type)
{
    return rowOf (type).name;
}

/** "a snare". */
constexpr const char* drumTypeNoun (DrumType type)
{
    return rowOf (type).noun;
}

constexpr bool canBeChosen (DrumType type)
{
    return *drumTypeDisplayName (type) != '\0';
}

constexpr bool isRenderedType (DrumType type)
{
    return rowOf (type).isRendered;
}

namespace drumTypeOrders
{
constexpr auto byPlace (int DrumTypeRow::*place)
{
    auto rows = drumTypeRows;
    std::sort (
        rows.begin(), rows.end(), [place] (const auto& a, const auto& b) { return a.*place < b.*place; });
    std::array<DrumType, numDrumTypes> types{};
    std::transform (rows.begin(), rows.end(), types.begin(), [] (const auto& row) { return row.type; });
    return types;
}

constexpr auto choosable()
{
    constexpr auto isOffered = [] (const auto& row) { return canBeChosen (row.type); };
    std::array<DrumType,
               static_cast<std::size_t> (std::count_if (drumTypeRows.begin(), drumTypeRows.end(), isOffered))>
        types{};
    auto next = types.begin();

    for (const auto& row : drumTypeRows)
        if (isOffered (row))
            *next++ = row.type;

    return types;
}
} // namespace drumTypeOrders

/** Every type, in the order in which its word list is registered, and in which it is saved. */
inline constexpr auto drumTypeRegistrationOrder = drumTypeOrders::byPlace (&DrumTypeRow::registered);
inline constexpr auto drumTypeSavingOrder = drumTypeOrders::byPlace (&DrumTypeRow::saved);

/** The types a user can choose from, in the chooser's order. */
inline constexpr auto drumTypeChooserOrder = drumTypeOrders::choosable();

constexpr std::uint32_t drumTypeCode (DrumType type)
{
    return static_cast<std::uint32_t> (type);
}

/** The type with this code; nothing for an unknown code. */
constexpr std::optional<DrumType> drumTypeFromCode (std::uint32_t code)
{
    for (const auto& row : drumTypeRows)
        if (drumTypeCode (row.type) == code)
            return row.type;

    return std::nullopt;
}

/** The type for a word of the command line, upper and lower case alike; nothing for any other word. */
constexpr std::optional<DrumType> parseDrumType (std::string_view word)
{
    constexpr auto lower = [] (char c)
    { return c >= 'A' && c <= 'Z' ? static_cast<char> (c + ('a' - 'A')) : c; };

    for (const auto& row : drumTypeRows)
        if (std::equal (word.begin(),
                        word.end(),
                        row.key,
                        row.key + std::string_view (row.key).size(),
                        [lower] (char a, char b) { return lower (a) == lower (b); }))
            return row.type;

    return std::nullopt;
}

/** The words of all types, listed as "kick, snare ... oh or other", or with other separators. */
inline std::string drumTypeWords (std::string_view separator = ", ", std::string_view lastSeparator = " or ")
{
    std::string words;

    for (std::size_t i = 0; i < numDrumTypes; ++i)
    {
        words += i == 0 ? "" : i + 1 < numDrumTypes ? separator : lastSeparator;
        words += drumTypeRows[i].key;
    }

    return words;
}

} // namespace tessivar
