#pragma once

#include "model/groupfile/RandomAccessBytes.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace tessivar
{

/** Lists of key and value texts as a group file holds them: metadata of tracks, and the properties.

    A list is read backwards from its end. Before the end stands an i64, the number of pairs; before it the
    pairs, the last one nearest. A pair is the key's bytes, an i64 with their number, the value's bytes, an
    i64 with their number.
*/
void appendPairs (std::vector<std::uint8_t>& bytes, const juce::StringPairArray& pairs);

/** Reads lists of pairs out of one file. What all lists together may cost is limited by the size of the file:
    lists of a sound file never overlap.
*/
class PairReader
{
public:
    explicit PairReader (RandomAccessBytes& bytesToRead);

    /** Reads the list that ends at end and begins at lowest or later; where it begins is put into start.

        Keys are told apart by case. Of pairs with equal keys the first in the file counts. On failure pairs
        and start stay as they were.
    */
    [[nodiscard]] juce::Result
    read (std::uint64_t end, std::uint64_t lowest, juce::StringPairArray& pairs, std::uint64_t& start);

private:
    [[nodiscard]] bool mayBeSet (const std::vector<juce::String>& keys, std::vector<bool>& isRepeated);

    RandomAccessBytes& bytes;
    std::uint64_t bytesLeft;       // that lists may still take
    std::uint64_t comparisonsLeft; // of characters
};

/** Text from a file, up to the first NUL: UTF-8 if it is valid, else Latin-1, so that no byte is refused. */
[[nodiscard]] juce::String textFromBytes (std::span<const std::uint8_t> bytes);

/** The bytes of a text as UTF-8, without a terminator; valid as long as the text. */
[[nodiscard]] std::span<const std::uint8_t> bytesOfText (const juce::String& text);

/** Any bytes as a text that gives them back: as they are where they are UTF-8, else spelled out. */
[[nodiscard]] juce::String textForAnyBytes (std::span<const std::uint8_t> bytes);
[[nodiscard]] std::vector<std::uint8_t> bytesForAnyText (const juce::String& text);

/** Numbers as text that reads back as the same value. */
[[nodiscard]] juce::String textOf (double value);
[[nodiscard]] juce::String textOf (std::uint64_t value);

/** A checksum as eight hexadecimal digits, so that a text's length doesn't depend on it. */
[[nodiscard]] juce::String textOfCrc (std::uint32_t value);
[[nodiscard]] std::optional<std::uint32_t> crcOf (const juce::String& text);

/** Nothing when the whole text is no number of the kind. */
[[nodiscard]] std::optional<double> doubleOf (const juce::String& text);
[[nodiscard]] std::optional<std::uint64_t> unsignedOf (const juce::String& text);

} // namespace tessivar
