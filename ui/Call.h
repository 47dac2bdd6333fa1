#pragma once

#include <juce_events/juce_events.h>

#include <memory>
#include <utility>

namespace tessivar
{

/** Calls a callback, if its owner has set one. */
template <typename Callback, typename... Arguments>
void call (const Callback& callback, Arguments&&... arguments)
{
    juce::NullCheckedInvocation::invoke (callback, std::forward<Arguments> (arguments)...);
}

/** Destroys an object, or a list of them, once the present call has returned: it may come from one of their
    buttons.
*/
template <typename Owner>
void destroyLater (Owner owner)
{
    juce::MessageManager::callAsync ([kept = std::make_shared<Owner> (std::move (owner))] {});
}

} // namespace tessivar
