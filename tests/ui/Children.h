#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

#include <functional>

namespace tessivar::test
{

/** The first part of a component that is of a kind and that a test accepts, at any depth; null when there is
    none.
*/
template <typename Kind>
Kind* childOf (juce::Component& parent, const std::function<bool (Kind&)>& accepts)
{
    for (auto* child : parent.getChildren())
        if (auto* found = dynamic_cast<Kind*> (child); found != nullptr && accepts (*found))
            return found;
        else if (auto* below = childOf<Kind> (*child, accepts))
            return below;
    return nullptr;
}

} // namespace tessivar::test
