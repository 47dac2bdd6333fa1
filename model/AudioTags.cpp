#include "model/AudioTags.h"

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

} // namespace tessivar
