#include "app/Verbs.h"

#include "app/MainComponent.h"
#include "app/TrackActions.h"

#include <algorithm>

namespace tessivar
{

Group::Ptr VerbTargets::group() const
{
    return tracks.group();
}

Track::Ptr VerbTargets::track() const
{
    return clicked != nullptr ? clicked : tracks.track();
}

const VerbEntry& entryOf (Verb verb)
{
    const auto verbs = allVerbs();
    return *std::find_if (
        verbs.begin(), verbs.end(), [&] (const VerbEntry& entry) { return entry.verb == verb; });
}

const VerbEntry* findCommand (int number)
{
    for (const auto& entry : allVerbs())
        if (number != 0 && entry.number == number)
            return &entry;

    return nullptr;
}

bool isServed (const VerbEntry& command)
{
    return command.number != 0 && command.verb != Verb::closeAllGroups;
}

const VerbEntry* verbForKey (const juce::KeyPress& pressed)
{
    using Modifiers = juce::ModifierKeys;
    const auto modifiers = pressed.getModifiers().getRawFlags()
                           & (Modifiers::shiftModifier | Modifiers::altModifier | Modifiers::commandModifier);
    auto code = pressed.getKeyCode();

    if (code >= 'a' && code <= 'z')
        code += 'A' - 'a';

    for (const auto& entry : allVerbs())
        for (const auto& own : entry.windowKeys)
            if (own.getKeyCode() == code && own.getModifiers().getRawFlags() == modifiers)
                return &entry;

    return nullptr;
}

juce::KeyPress shownKeyOf (Verb verb)
{
    for (const auto& entry : allVerbs())
        if (entry.verb == verb && (entry.commandKey.isValid() || ! entry.windowKeys.empty()))
            return entry.commandKey.isValid() ? entry.commandKey : entry.windowKeys.front();

    return {};
}

void perform (const VerbEntry& entry, const VerbTargets& targets)
{
    const auto& deed = entry.type || entry.menu ? entry : entryOf (entry.verb);

    if (deed.canPerform != nullptr && ! deed.canPerform (targets))
        return;

    if (deed.type)
        targets.tracks.setDrumType (targets.tracks.chosen(), *deed.type);
    else if (deed.menu)
        targets.window.openMenu (*deed.menu);
    else
        deed.perform (targets);
}

} // namespace tessivar
