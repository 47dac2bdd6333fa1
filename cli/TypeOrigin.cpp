#include "cli/TypeOrigin.h"

#include "cli/TerminalText.h"

namespace tessivar
{

TypeOrigin originOf (const TrackClassification& classification)
{
    return classification.matched ? TypeOrigin::name : TypeOrigin::fallback;
}

juce::String originWord (TypeOrigin origin)
{
    switch (origin)
    {
        case TypeOrigin::given:
            return "given";
        case TypeOrigin::group:
            return "group";
        case TypeOrigin::name:
            return "name";
        case TypeOrigin::fallback:
            break;
    }
    return "fallback";
}

juce::String originText (TypeOrigin origin, const TrackClassification& guess)
{
    switch (origin)
    {
        case TypeOrigin::given:
            return "given";
        case TypeOrigin::group:
            return "saved";
        case TypeOrigin::name:
            return "guessed from \"" + printable (guess.abbreviation) + "\""
                   + (guess.source == ListSource::settings ? ", user's list"
                      : guess.source == ListSource::file   ? ", list of --types"
                                                           : "");
        case TypeOrigin::fallback:
            break;
    }
    return "nothing in the name";
}

juce::String listWord (ListSource source)
{
    switch (source)
    {
        case ListSource::settings:
            return "user";
        case ListSource::file:
            return "file";
        case ListSource::builtIn:
            break;
    }
    return "default";
}

juce::String typeText (DrumType type)
{
    return canBeChosen (type) ? drumTypeDisplayName (type) : "Overhead";
}

} // namespace tessivar
