#pragma once

#include <juce_core/juce_core.h>

#include <array>
#include <functional>
#include <set>

namespace tessivar
{

/** Collects what is wrong with the files of a batch, to be told in one message per kind of problem.

    Entries may be added from any thread. Each code keeps its entries in the order in which they came, none
    twice.
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

    /** Appends the entry unless an equal one is already listed under the code. A reason is told beside the entry, each
        that comes for it once. Codes outside 0..11 are a programmer's mistake and are left out.
    */
    void add (const juce::String& entry, int code, const juce::String& reason = {});

    /** The entries under a code, in order. */
    [[nodiscard]] juce::StringArray entries (int code) const;

    [[nodiscard]] bool isEmpty() const;

    /** One message with what it is about. */
    struct Warning
    {
        int code = 0;
        juce::String message;
        juce::StringArray entries;
        juce::StringArray reasons{}; // as many as entries; a line for each, empty where none was given
        bool canBeSilenced = false;  // offer "Don't show this warning again."
    };

    /** Shows one warning, and says whether the user wants to see this code never again. Only the answer to a
        warning that can be silenced counts.
    */
    using Presenter = std::function<bool (const Warning&)>;

    /** Hands every code that has entries to the presenter, in ascending order, silenced ones left out; then
        empties all lists. The lists are taken before the first call: what is added meanwhile waits for the
        next show().
    */
    void show (const Presenter& presenter);

    /** Only the advice on short and long tracks (8, 10) can be silenced; other codes are always shown. */
    static bool canBeSilenced (int code);
    void setSilenced (int code, bool shouldBeSilenced);
    [[nodiscard]] bool isSilenced (int code) const;

    /** Empties all lists and shows nothing. */
    void clear();

private:
    mutable juce::CriticalSection entriesLock; // lists, reasonLists, silencedCodes
    std::array<juce::StringArray, numCodes> lists;
    std::array<juce::StringArray, numCodes> reasonLists; // as long as lists
    std::set<int> silencedCodes;
};

/** The message of a code, word for word as the user reads it; a fallback text for a code that is none. */
juce::String warningMessage (int code);

} // namespace tessivar
