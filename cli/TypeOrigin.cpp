#include "cli/TypeOrigin.h"

#include "cli/TerminalText.h"

#include <array>

namespace tessivar
{

TypeOrigin originOf (const TrackClassification& classification)
{
    return classification.matched ? TypeOrigin::name : TypeOrigin::fallback;
}

const char* originWord (TypeOrigin origin)
{
    return std::array{ "given", "group", "name", "fallback" }[static_cast<std::size_t> (origin)];
}

juce::String originText (TypeOrigin origin, const TrackClassification& guess)
{
    if (origin == TypeOrigin::name)
        return "guessed from \"" + printable (guess.abbreviation) + "\""
               + (guess.source == ListSource::settings ? ", user's list"
                  : guess.source == ListSource::file   ? ", list of --types"
                                                       : "");
    return origin == TypeOrigin::given   ? "given"
           : origin == TypeOrigin::group ? "saved"
                                         : "nothing in the name";
}

const char* listWord (ListSource source)
{
    return source == ListSource::settings ? "user" : source == ListSource::file ? "file" : "default";
}

} // namespace tessivar
