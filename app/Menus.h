#pragma once

#include "app/Verbs.h"

#include <span>

namespace tessivar
{

/** A line of a menu: a verb, or one of the others. */
struct MenuLine
{
    enum class Kind
    {
        verb,
        separator,
        recentFiles,
        drumTypes,
        methods,
        presets
    };

    Kind kind = Kind::verb;
    Verb verb = Verb::newGroup;

    constexpr MenuLine (Verb verbToShow) : verb (verbToShow) {}
    constexpr MenuLine (Kind kindToShow) : kind (kindToShow) {}
};

[[nodiscard]] juce::StringArray menuNames();
[[nodiscard]] std::span<const MenuLine> menuLines (int menuIndex);
[[nodiscard]] std::span<const MenuLine> trackMenuLines();
[[nodiscard]] std::span<const MenuLine> groupMenuLines();
[[nodiscard]] std::span<const MenuLine> presetMenuLines();

/** A verb as an entry of a menu, for what it would act on. Its number is its place in the table of verbs,
    from 1.
*/
[[nodiscard]] juce::PopupMenu::Item menuItemFor (const VerbEntry& entry, const VerbTargets& targets);

/** The menu of a track, a Group or presets. */
[[nodiscard]] juce::PopupMenu menuOf (std::span<const MenuLine> lines, const VerbTargets& targets);

} // namespace tessivar
