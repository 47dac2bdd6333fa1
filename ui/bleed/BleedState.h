#pragma once

#include "ui/Icons.h"

#include <juce_graphics/juce_graphics.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tessivar
{

/** A level before and with the knobs as they stand, in dB; nothing where nothing arrives. */
struct BleedLevel
{
    std::optional<double> before, after;
};

/** What the view of a bleed map shows: every drum (columns) in every microphone (rows). */
struct BleedState
{
    struct Drum
    {
        std::uint32_t trackId = 0; // of its own microphone
        juce::String name;
        juce::Colour colour;
        Icon icon = Icon::none;
    };

    struct Cell : BleedLevel
    {
        bool isSameDrum = false; // another microphone on it
    };

    std::vector<Drum> drums;
    std::vector<Cell> cells;          // row after row
    std::uint32_t selectedTrack = 0;  // 0: none
    juce::String message, buttonText; // instead of a map
    juce::String notice;              // what is heard, where it isn't the processed track
    juce::Colour noticeColour;

    [[nodiscard]] const Cell& cell (std::size_t microphone, std::size_t drum) const
    {
        return cells[microphone * drums.size() + drum];
    }
};

/** One band of a cell. */
struct BleedBand : BleedLevel
{
    juce::String name;
};

/** A whole number of dB, "+3" or with a real minus sign; a dot where nothing can be heard. */
[[nodiscard]] juce::String bleedLevelText (std::optional<double> level);

/** What a cell says, in a sentence: "HH in Kick In: −22.1 dB, −38.0 dB with the knobs as they stand". */
[[nodiscard]] juce::String bleedCellText (const BleedState& state, std::size_t microphone, std::size_t drum);

/** How strongly a cell is coloured, 0..1: from -45 dB on, whole at 0 dB. */
[[nodiscard]] float bleedStrength (std::optional<double> level);

} // namespace tessivar
