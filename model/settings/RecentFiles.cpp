#include "model/settings/RecentFiles.h"

#include <algorithm>

namespace tessivar
{

void RecentFiles::setLimit (int numEntries)
{
    limit = std::max (1, numEntries);
    entries.removeRange (limit, entries.size());
}

void RecentFiles::add (const juce::File& file)
{
    const auto& path = file.getFullPathName();

    // Such a path would come back as two.
    if (path.isEmpty() || path.containsChar ('\n'))
        return;

    entries.removeString (path);
    entries.insert (0, path);
    setLimit (limit);
    changes.push_back ({ file, true });
}

void RecentFiles::remove (const juce::File& file)
{
    entries.removeString (file.getFullPathName());
    changes.push_back ({ file, false });
}

void RecentFiles::clear()
{
    entries.clear();
    changes.clear();
}

void RecentFiles::restoreFrom (const juce::String& text)
{
    clear();
    entries.addTokens (text, "\n", {});
    setLimit (limit);
}

void RecentFiles::replayOn (RecentFiles& other) const
{
    for (const auto& change : changes)
    {
        if (change.added)
            other.add (change.file);
        else
            other.remove (change.file);
    }
}

std::vector<RecentFiles::MenuEntry> RecentFiles::menuEntries (const std::vector<juce::File>& openFiles) const
{
    std::vector<MenuEntry> result;

    for (int i = 0; i < entries.size(); ++i)
    {
        if (! juce::File::isAbsolutePath (entries[i]))
            continue;

        const juce::File file (entries[i]);
        const auto isOpen = std::find (openFiles.begin(), openFiles.end(), file) != openFiles.end();

        if (file.exists() && ! isOpen)
            result.push_back ({ i, file });
    }

    return result;
}

} // namespace tessivar
