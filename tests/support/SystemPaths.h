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

/** The same path as it comes from the other kind of system. */
inline juce::String foreignPath (const juce::String& path)
{
#if JUCE_WINDOWS
    return path;
#else
    return "C:" + path.replaceCharacter ('/', '\\');
#endif
}

} // namespace tessivar::test
