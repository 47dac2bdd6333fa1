#include "model/groupfile/PropertyList.h"

#include "model/LittleEndian.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::uint64_t lengthSize = 8; // of the i64 behind a text, and of the number of pairs
constexpr std::uint64_t longestText = 64u << 20;
constexpr auto spelledOut = "base64:";

/** Takes bytes from a place backwards, out of a window that was read at once. */
class BackwardReader
{
public:
    BackwardReader (RandomAccessBytes& bytesToRead, std::uint64_t end, std::uint64_t lowestByte)
        : bytes (bytesToRead), position (end), lowest (lowestByte)
    {
    }

    [[nodiscard]] std::uint64_t place() const { return position; }
    [[nodiscard]] std::uint64_t room() const { return position - lowest; }

    [[nodiscard]] bool take (std::span<std::uint8_t> dest)
    {
        if (dest.size() > room())
            return false;

        const auto start = position - dest.size();

        if (dest.size() > windowSize / 2)
        {
            position = start;
            return bytes.read (start, dest);
        }

        if ((start < windowStart || position > windowStart + window.size()) && ! fillWindow())
            return false;

        std::copy_n (
            window.begin() + static_cast<std::ptrdiff_t> (start - windowStart), dest.size(), dest.begin());
        position = start;
        return true;
    }

    [[nodiscard]] bool takeNumber (std::int64_t& number)
    {
        std::array<std::uint8_t, lengthSize> raw{};

        if (! take (raw))
            return false;

        number = littleEndian::readI64 (raw.data());
        return true;
    }

private:
    bool fillWindow()
    {
        const auto count = std::min<std::uint64_t> (windowSize, position - lowest);
        windowStart = position - count;
        window.resize (count);
        return bytes.read (windowStart, window);
    }

    static constexpr std::size_t windowSize = 1 << 15;

    RandomAccessBytes& bytes;
    std::uint64_t position;
    const std::uint64_t lowest;
    std::vector<std::uint8_t> window;
    std::uint64_t windowStart = 0;
};

/** The text before the reader's place; nothing when its length or its bytes can't be right. */
std::optional<juce::String> takeText (BackwardReader& reader)
{
    std::int64_t length = 0;

    if (! reader.takeNumber (length) || length < 0 || static_cast<std::uint64_t> (length) > longestText
        || static_cast<std::uint64_t> (length) > reader.room())
        return std::nullopt;

    std::vector<std::uint8_t> text (static_cast<std::size_t> (length));

    if (! reader.take (text))
        return std::nullopt;

    return textFromBytes (text);
}

void appendText (std::vector<std::uint8_t>& bytes, const juce::String& text)
{
    const auto characters = bytesOfText (text);
    bytes.insert (bytes.end(), characters.begin(), characters.end());
    bytes.resize (bytes.size() + lengthSize);
    littleEndian::writeU64 (&bytes[bytes.size() - lengthSize], characters.size());
}

std::string_view viewOf (const juce::String& text)
{
    return { text.toRawUTF8(), text.getNumBytesAsUTF8() };
}
} // namespace

void appendPairs (std::vector<std::uint8_t>& bytes, const juce::StringPairArray& pairs)
{
    const auto count = pairs.size();

    for (int i = 0; i < count; ++i)
    {
        appendText (bytes, pairs.getAllKeys()[i]);
        appendText (bytes, pairs.getAllValues()[i]);
    }

    bytes.resize (bytes.size() + lengthSize);
    littleEndian::writeI64 (&bytes[bytes.size() - lengthSize], count);
}

PairReader::PairReader (RandomAccessBytes& bytesToRead)
    : bytes (bytesToRead), bytesLeft (bytesToRead.sizeInBytes()), comparisonsLeft (300'000'000)
{
}

juce::Result
PairReader::read (std::uint64_t end, std::uint64_t lowest, juce::StringPairArray& pairs, std::uint64_t& start)
{
    constexpr auto smallestPair = 2 * lengthSize;

    if (end > bytes.sizeInBytes() || end < lowest || end - lowest < lengthSize)
        return juce::Result::fail ("a list of texts ends at " + juce::String (end) + ", outside its room");

    BackwardReader reader (bytes, end, lowest);
    std::int64_t count = 0;

    if (! reader.takeNumber (count))
        return juce::Result::fail ("a list of texts can't be read");

    if (count < 0 || static_cast<std::uint64_t> (count) > reader.room() / smallestPair)
        return juce::Result::fail ("a list claims " + juce::String (count) + " texts");

    std::vector<juce::String> keys, values;

    for (std::int64_t i = 0; i < count; ++i)
    {
        auto value = takeText (reader);
        auto key = value ? takeText (reader) : std::nullopt;

        if (! key)
            return juce::Result::fail ("a text of a list lies outside its room");

        if (end - reader.place() > bytesLeft)
            return juce::Result::fail ("lists of texts lie over each other");

        keys.push_back (std::move (*key));
        values.push_back (std::move (*value));
    }

    std::reverse (keys.begin(), keys.end());
    std::reverse (values.begin(), values.end());
    std::vector<bool> isRepeated;

    if (! mayBeSet (keys, isRepeated))
        return juce::Result::fail ("a list holds too many texts that are alike");

    bytesLeft -= std::min (bytesLeft, end - reader.place());
    juce::StringPairArray found (false);

    for (std::size_t i = 0; i < keys.size(); ++i)
        if (! isRepeated[i])
            found.set (keys[i], values[i]);

    pairs = found;
    start = reader.place();
    return juce::Result::ok();
}

/** Tells which keys are repeated, and whether the rest may go into an array that compares each new key with
    all others: a file of a few megabytes could keep it busy for minutes.
*/
bool PairReader::mayBeSet (const std::vector<juce::String>& keys, std::vector<bool>& isRepeated)
{
    isRepeated.assign (keys.size(), false);
    std::vector<std::size_t> order (keys.size());
    std::iota (order.begin(), order.end(), std::size_t{});
    std::ranges::stable_sort (
        order, [&] (std::size_t a, std::size_t b) { return viewOf (keys[a]) < viewOf (keys[b]); });

    // Of keys in this order, two have as much of their beginning in common as the least that neighbours
    // between them have. The sum of that over all pairs is kept as steps of equal height, each with the
    // number of keys it stands for.
    std::vector<std::pair<std::uint64_t, std::uint64_t>> steps;
    std::uint64_t sumOfSteps = 0, work = keys.size() * keys.size() / 2;

    for (std::size_t i = 1; i < order.size(); ++i)
    {
        const auto before = viewOf (keys[order[i - 1]]), key = viewOf (keys[order[i]]);
        isRepeated[order[i]] = before == key;
        const auto difference = std::mismatch (before.begin(), before.end(), key.begin(), key.end()).first;
        const auto common = static_cast<std::uint64_t> (difference - before.begin());
        std::uint64_t count = 1;

        for (; ! steps.empty() && steps.back().first >= common; steps.pop_back())
        {
            sumOfSteps -= steps.back().first * steps.back().second;
            count += steps.back().second;
        }

        steps.emplace_back (common, count);
        sumOfSteps += common * count;
        work += sumOfSteps;
    }

    if (work > comparisonsLeft)
        return false;

    comparisonsLeft -= work;
    return true;
}

juce::String textFromBytes (std::span<const std::uint8_t> bytes)
{
    // The end that a terminator marks: checks of UTF-8 don't look behind it.
    const std::string text (bytes.begin(), std::find (bytes.begin(), bytes.end(), std::uint8_t{}));

    if (juce::CharPointer_UTF8::isValidString (text.c_str(), static_cast<int> (text.size())))
    {
        // By way of its characters: overlong spellings pass as valid, and change later.
        const juce::String read (
            juce::String::fromUTF8 (text.c_str(), static_cast<int> (text.size())).toUTF32());

        if (viewOf (read) == text)
            return read;
    }

    std::vector<juce::juce_wchar> characters;

    for (const auto character : text)
        characters.push_back (static_cast<std::uint8_t> (character));

    characters.push_back (0);
    return juce::String (juce::CharPointer_UTF32 (characters.data()));
}

std::span<const std::uint8_t> bytesOfText (const juce::String& text)
{
    return { reinterpret_cast<const std::uint8_t*> (text.toRawUTF8()), text.getNumBytesAsUTF8() };
}

juce::String textForAnyBytes (std::span<const std::uint8_t> bytes)
{
    const auto text = textFromBytes (bytes);
    const auto again = bytesOfText (text);

    if (std::equal (again.begin(), again.end(), bytes.begin(), bytes.end()) && ! text.startsWith (spelledOut))
        return text;

    return spelledOut + juce::Base64::toBase64 (bytes.data(), bytes.size());
}

std::vector<std::uint8_t> bytesForAnyText (const juce::String& text)
{
    juce::MemoryOutputStream decoded;

    if (text.startsWith (spelledOut)
        && juce::Base64::convertFromBase64 (decoded, text.fromFirstOccurrenceOf (":", false, false)))
    {
        const auto* data = static_cast<const std::uint8_t*> (decoded.getData());
        return { data, data + decoded.getDataSize() };
    }

    const auto characters = bytesOfText (text);
    return { characters.begin(), characters.end() };
}

namespace
{
template <typename Number>
juce::String shortestText (Number value)
{
    std::array<char, 64> text{};
    const auto end = std::to_chars (text.data(), text.data() + text.size(), value).ptr;
    return juce::String (text.data(), static_cast<std::size_t> (end - text.data()));
}

template <typename Number, typename... Format>
std::optional<Number> numberOf (const juce::String& text, Format... format)
{
    const auto characters = viewOf (text);
    Number value{};
    const auto [end, error] =
        std::from_chars (characters.data(), characters.data() + characters.size(), value, format...);
    const auto isNumber = error == std::errc() && end == characters.data() + characters.size();
    return isNumber ? std::optional<Number> (value) : std::nullopt;
}
} // namespace

juce::String textOf (double value)
{
    return shortestText (value);
}

juce::String textOf (std::uint64_t value)
{
    return shortestText (value);
}

juce::String textOfCrc (std::uint32_t value)
{
    return juce::String::toHexString (static_cast<juce::int64> (value)).paddedLeft ('0', 8);
}

std::optional<std::uint32_t> crcOf (const juce::String& text)
{
    constexpr auto hexadecimal = 16;
    return text.length() == 8 ? numberOf<std::uint32_t> (text, hexadecimal) : std::nullopt;
}

std::optional<double> doubleOf (const juce::String& text)
{
    return numberOf<double> (text);
}

std::optional<std::uint64_t> unsignedOf (const juce::String& text)
{
    return numberOf<std::uint64_t> (text);
}

} // namespace tessivar
