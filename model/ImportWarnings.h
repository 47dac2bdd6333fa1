#pragma once

#include <juce_core/juce_core.h>

#include <array>
#include <functional>
#include <set>
#include <vector>

namespace tessivar
{

/** Collects what is wrong with the files of a batch, for one message per kind of problem.

    Entries may be added from any thread. Each code lists its entries in order of arrival, without duplicates.
*/
class ImportWarnings
{
public:
    static constexpr int numCodes = 12;

    enum Code
    {
        differentBitDepths = 0,
        differentSampleRate = 1,
        missing = 2,
        unreadable = 3,
        missingInGroupFile = 4,
        unreadableInGroupFile = 5,
        shorterThanGroup = 6,
        unsupportedSampleRate = 7,
        shortDuration = 8,
        tooShort = 9,
        longDuration = 10,
        largeGroup = 11
    };

    /** Appends the entry unless an equal one is already listed under the code. A reason is told beside the
        entry, each distinct one once. A code outside 0..11 is a programming error and is ignored.
    */
    void add (const juce::String& entry, int code, const juce::String& reason = {});

    /** Appends all that was collected elsewhere, in its order. */
    void add (const ImportWarnings& others);

    /** The entries under a code, in order. */
    [[nodiscard]] juce::StringArray entries (int code) const;

    [[nodiscard]] bool isEmpty() const;

    /** A message and the files it concerns. */
    struct Warning
    {
        int code = 0;
        juce::String message;
        juce::StringArray entries;
        juce::StringArray reasons{}; // one line per entry; empty: none given
        bool canBeSilenced = false;  // offer "Don't show this warning again."
    };

    /** Shows a warning and returns whether to silence its code for good. Counts only for codes that can be
        silenced.
    */
    using Presenter = std::function<bool (const Warning&)>;

    /** Shows every code that has entries and isn't silenced, in ascending order, and empties all lists. The
        lists are taken before the first call: entries added meanwhile wait for the next show().
    */
    void show (const Presenter& presenter);

    /** Only the advice on short and long tracks (8, 10) can be silenced. */
    static bool canBeSilenced (int code);
    void setSilenced (int code, bool shouldBeSilenced);
    [[nodiscard]] bool isSilenced (int code) const;

    /** Empties all lists, or that of one code, without showing them. */
    void clear();
    void clear (int code);

private:
    struct List
    {
        juce::StringArray entries, reasons; // of one length
    };

    mutable juce::CriticalSection entriesLock; // lists, silencedCodes
    std::array<List, numCodes> lists;
    std::set<int> silencedCodes;
};

/** The text of a code as the user reads it; a fallback for an unknown code. */
juce::String warningMessage (int code);

/** Whether a kind of warning, a code above, is to be shown: false only for those on short and
    long tracks, and only when the user silenced them. Any text under their key counts as that. Without
    settings every kind is shown.
*/
[[nodiscard]] bool shouldShowWarning (const juce::PropertySet* settings, int kind);

/** Silences a kind for good; kinds other than those on short and long tracks are left alone. */
void suppressWarning (juce::PropertySet* settings, int kind);

/** The silenced kinds, ascending. */
[[nodiscard]] std::vector<int> suppressedWarnings (const juce::PropertySet* settings);

/** Silences each of the kinds. */
void suppressWarnings (juce::PropertySet* settings, const std::vector<int>& kinds);

} // namespace tessivar
