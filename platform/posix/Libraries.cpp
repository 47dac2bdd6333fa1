#include "platform/Libraries.h"

#include "platform/DiskNames.h"

#include <dlfcn.h>

namespace tessivar
{

juce::String libraryHolding (const void* function)
{
    Dl_info info{};
    return ::dladdr (function, &info) != 0 && info.dli_fname != nullptr ? pathOfBytes (info.dli_fname)
                                                                        : juce::String();
}

juce::StringArray listeningSockets()
{
    return listeningSocketsIn (juce::File ("/proc/net/unix").loadFileAsString());
}

juce::StringArray listeningSocketsIn (const juce::String& table)
{
    // Columns: number, references, protocol, flags, type, state, inode, path.
    constexpr int flagsColumn = 3, pathColumn = 7;
    constexpr int listens = 0x10000;
    juce::StringArray names;

    for (const auto& line : juce::StringArray::fromLines (table))
    {
        auto columns = juce::StringArray::fromTokens (line, " ", {});
        columns.removeEmptyStrings();

        if (columns.size() > pathColumn && (columns[flagsColumn].getHexValue32() & listens) != 0)
            names.add (columns[pathColumn]);
    }

    return names;
}

} // namespace tessivar
