#pragma once

#include <juce_core/juce_core.h>

#include <vector>

namespace tessivar
{

/** Full paths of the group files used last, newest first, at most so many. */
class RecentFiles
{
public:
    static constexpr int defaultLimit = 10;

    /** Drops what is over the limit from the end; a limit below 1 counts as 1. */
    void setLimit (int numEntries);

    /** Puts the path to the front, from wherever it stood. */
    void add (const juce::File& file);
    void remove (const juce::File& file);
    void clear();

    [[nodiscard]] const juce::StringArray& paths() const { return entries; }

    /** The paths joined by newlines. */
    [[nodiscard]] juce::String toString() const { return entries.joinIntoString ("\n"); }

    /** Replaces the list by what toString() gave, up to the limit; blank lines are kept as entries. */
    void restoreFrom (const juce::String& text);

    /** Does to another list what add() and remove() have done to this one since the last restoreFrom(), so
        that two running copies of the program don't take each other's entries away.
    */
    void replayOn (RecentFiles& other) const;

    struct MenuEntry
    {
        int index = 0; // within paths(): that of the menu's command
        juce::File file;
    };

    /** The entries to offer: those whose file exists and is not among the open ones. */
    [[nodiscard]] std::vector<MenuEntry> menuEntries (const std::vector<juce::File>& openFiles) const;

private:
    struct Change
    {
        juce::File file;
        bool added = false;
    };

    juce::StringArray entries;
    int limit = defaultLimit;
    std::vector<Change> changes;
};

} // namespace tessivar
