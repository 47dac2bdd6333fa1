#include "model/ImportWarnings.h"

#include "model/ForeignText.h"
#include "model/settings/Settings.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
/** Null for kinds that are always shown. */
const char* keyOfWarning (int kind)
{
    if (kind == ImportWarnings::longDuration)
        return settingsKeys::showLongTracksWarning;

    return kind == ImportWarnings::shortDuration ? settingsKeys::showShortTracksWarning : nullptr;
}

bool isKnownCode (int code)
{
    return code >= 0 && code < ImportWarnings::numCodes;
}
} // namespace

void ImportWarnings::add (const juce::String& entry, int code, const juce::String& reason)
{
    if (! isKnownCode (code))
    {
        jassertfalse;
        return;
    }

    const juce::ScopedLock lock (entriesLock);
    auto& [list, reasons] = lists[static_cast<std::size_t> (code)];
    const auto shown = shownText (entry), shownReason = shownText (reason);
    const auto index = list.indexOf (shown);

    if (index < 0)
    {
        list.add (shown);
        reasons.add (shownReason);
        return;
    }

    // Two files of one name, from two folders, share the entry.
    auto known = juce::StringArray::fromLines (reasons[index]);
    known.addIfNotAlreadyThere (shownReason);
    known.removeEmptyStrings();
    reasons.set (index, known.joinIntoString ("\n"));
}

void ImportWarnings::add (const ImportWarnings& others)
{
    std::array<List, numCodes> added;
    {
        const juce::ScopedLock lock (others.entriesLock);
        added = others.lists;
    }

    for (int code = 0; code < numCodes; ++code)
    {
        const auto& [list, reasons] = added[static_cast<std::size_t> (code)];

        for (int i = 0; i < list.size(); ++i)
            add (list[i], code, reasons[i]);
    }
}

juce::StringArray ImportWarnings::entries (int code) const
{
    if (! isKnownCode (code))
        return {};

    const juce::ScopedLock lock (entriesLock);
    return lists[static_cast<std::size_t> (code)].entries;
}

bool ImportWarnings::isEmpty() const
{
    const juce::ScopedLock lock (entriesLock);
    return std::ranges::all_of (lists, [] (const auto& list) { return list.entries.isEmpty(); });
}

void ImportWarnings::show (const Presenter& presenter)
{
    std::array<List, numCodes> taken;
    {
        const juce::ScopedLock lock (entriesLock);
        std::swap (taken, lists);
    }

    for (int code = 0; code < numCodes; ++code)
    {
        const auto& [list, reasons] = taken[static_cast<std::size_t> (code)];

        if (list.isEmpty() || isSilenced (code))
            continue;

        const auto neverAgain =
            presenter ({ code, warningMessage (code), list, reasons, canBeSilenced (code) });
        if (neverAgain && canBeSilenced (code))
            setSilenced (code, true);
    }
}

bool ImportWarnings::canBeSilenced (int code)
{
    return code == shortDuration || code == longDuration;
}

void ImportWarnings::setSilenced (int code, bool shouldBeSilenced)
{
    jassert (canBeSilenced (code) || ! shouldBeSilenced);

    const juce::ScopedLock lock (entriesLock);
    if (shouldBeSilenced && canBeSilenced (code))
        silencedCodes.insert (code);
    else
        silencedCodes.erase (code);
}

bool ImportWarnings::isSilenced (int code) const
{
    const juce::ScopedLock lock (entriesLock);
    return silencedCodes.count (code) > 0;
}

void ImportWarnings::clear()
{
    const juce::ScopedLock lock (entriesLock);
    lists = {};
}

void ImportWarnings::clear (int code)
{
    const juce::ScopedLock lock (entriesLock);

    if (isKnownCode (code))
        lists[static_cast<std::size_t> (code)] = {};
}

juce::String warningMessage (int code)
{
    // Missing and unreadable files each have two lists with the same words and separate dialogs, on purpose.
    constexpr auto missing = "The following files appear to be missing.",
                   unreadable = "The following files appear to be corrupted or unsupported.";
    constexpr std::array<const char*, ImportWarnings::numCodes> messages{
        "The following group seems to contain files with different bitrates.",
        "The following files have a samplerate which is different from the first track you added in the "
        "group.",
        missing,
        unreadable,
        missing,
        unreadable,
        "The following files appear to be smaller in length.",
        "The following files have unsupported samplerate.",
        "The group contains tracks of small duration. In order to get the best possible results, please "
        "consider merging groups of smaller tracks.",
        "The following files are of too small duration to be analysed. They will be discarded.",
        "The group contains tracks of large duration. Analysis of extremely large tracks may result in "
        "unstable behavior. Please consider splitting the material to smaller groups.",
        "You are attempting to analyze a large group. To ensure fast and accurate analysis, consider "
        "removing any tracks that are unnecessary, empty or consist only of leakage.",
    };
    return isKnownCode (code) ? messages[static_cast<std::size_t> (code)] : "Unclassified error occured.";
}

bool shouldShowWarning (const juce::PropertySet* settings, int kind)
{
    const auto* const key = keyOfWarning (kind);
    return settings == nullptr || key == nullptr || settings->getValue (key).isEmpty();
}

void suppressWarning (juce::PropertySet* settings, int kind)
{
    if (const auto* const key = keyOfWarning (kind); settings != nullptr && key != nullptr)
        settings->setValue (key, settingsFalse);
}

std::vector<int> suppressedWarnings (const juce::PropertySet* settings)
{
    std::vector<int> kinds;

    for (int kind = 0; kind < ImportWarnings::numCodes; ++kind)
        if (! shouldShowWarning (settings, kind))
            kinds.push_back (kind);

    return kinds;
}

void suppressWarnings (juce::PropertySet* settings, const std::vector<int>& kinds)
{
    for (const auto kind : kinds)
        suppressWarning (settings, kind);
}

} // namespace tessivar
