#include "model/BleedMapText.h"

#include "model/LittleEndian.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace tessivar
{

namespace
{
constexpr int mostDrums = 254; // as many tracks as a group file holds
constexpr std::size_t floatSize = 4;
} // namespace

juce::String toText (const BleedMap& map)
{
    std::vector<std::uint8_t> bytes (map.values().size() * floatSize);

    for (std::size_t i = 0; i < map.values().size(); ++i)
        littleEndian::writeF32 (&bytes[i * floatSize], map.values()[i]);

    return juce::String (map.numDrums()) + ":" + juce::Base64::toBase64 (bytes.data(), bytes.size());
}

std::optional<BleedMap> bleedMapFromText (const juce::String& text)
{
    const auto numDrums = text.upToFirstOccurrenceOf (":", false, false).getIntValue();
    juce::MemoryOutputStream decoded;

    if (numDrums < 1 || numDrums > mostDrums
        || ! juce::Base64::convertFromBase64 (decoded, text.fromFirstOccurrenceOf (":", false, false)))
        return std::nullopt;

    const auto* const bytes = static_cast<const std::uint8_t*> (decoded.getData());
    std::vector<float> values (decoded.getDataSize() / floatSize);

    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = littleEndian::readF32 (bytes + i * floatSize);

    return BleedMap::of (static_cast<std::size_t> (numDrums), std::move (values));
}

} // namespace tessivar
