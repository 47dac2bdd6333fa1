#include "model/AudioTags.h"

#include "model/ForeignText.h"

#include <array>

namespace tessivar
{

juce::String metadataKeyForTag (const juce::String& tag)
{
    struct Pair
    {
        const char* tag;
        const char* key;
    };
    constexpr std::array<Pair, 12> pairs{ {
        { "title", "INAM" },
        { "artist", "IART" },
        { "album", "IPRD" },
        { "date", "ICRD" },
        { "genre", "IGNR" },
        { "comment", "ICMT" },
        { "description", "ISBJ" },
        { "copyright", "ICOP" },
        { "tracknumber", "IPRT" },
        { "software", "ISFT" },
        { "encoder", "ISFT" },
        { "engineer", "IENG" },
    } };

    for (const auto& pair : pairs)
        if (tag.equalsIgnoreCase (pair.tag))
            return pair.key;

    return tag;
}

void addVorbisComment (std::span<const std::uint8_t> comment, juce::StringPairArray& metadata)
{
    // So that no file keeps the program busy with tags for minutes.
    constexpr int maxTags = 10000;
    if (metadata.size() >= maxTags)
        return;

    const auto text = textOfBytes (comment);
    const auto value = text.fromFirstOccurrenceOf ("=", false, false);
    if (value.isNotEmpty())
        metadata.set (metadataKeyForTag (text.upToFirstOccurrenceOf ("=", false, false)), value);
}

} // namespace tessivar
