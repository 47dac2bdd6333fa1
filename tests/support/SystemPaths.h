#pragma once

#include <juce_core/juce_core.h>

namespace tessivar::test
{

/** A whole path such as "/takes/kick.wav" as this system writes it. */
inline juce::String systemPath (const juce::String& path)
{
#if JUCE_WINDOWS
    return "C:" + path.replaceCharacter ('/', '\\');
#else
    return path;
#endif
}

inline juce::File systemFile (const juce::String& path)
{
    return juce::File (systemPath (path));
}

} // namespace tessivar::test
