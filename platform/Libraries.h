#pragma once

#include <juce_core/juce_core.h>

namespace tessivar
{

/** The file of the shared library that a function lies in, as it was opened; nothing when the system can't
    tell.
*/
[[nodiscard]] juce::String libraryHolding (const void* function);

/** Names of the local sockets that some process of this system listens at; empty where these can't be listed.
*/
[[nodiscard]] juce::StringArray listeningSockets();

/** The same from the text of the system's table. For tests. */
[[nodiscard]] juce::StringArray listeningSocketsIn (const juce::String& table);

} // namespace tessivar
