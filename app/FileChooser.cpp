#include "app/FileChooser.h"

namespace tessivar
{

juce::String bothCases (const juce::String& wildcard)
{
    juce::StringArray patterns;

    for (const auto& pattern : juce::StringArray::fromTokens (wildcard, ";", {}))
    {
        patterns.add (pattern.trim());
        patterns.add (pattern.trim().toUpperCase());
    }

    return patterns.joinIntoString (" ");
}

juce::File nearestFolder (juce::File folder)
{
    while (! folder.isDirectory() && folder != folder.getParentDirectory())
        folder = folder.getParentDirectory();

    return folder.isDirectory() ? folder : juce::File::getSpecialLocation (juce::File::userHomeDirectory);
}

} // namespace tessivar
