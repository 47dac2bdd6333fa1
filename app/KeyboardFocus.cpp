#include "app/KeyboardFocus.h"

#include <algorithm>

namespace tessivar
{

void moveFocusBetween (const std::vector<FocusArea>& areas, int step)
{
    const auto count = static_cast<int> (areas.size());
    const auto here = std::find_if (
        areas.begin(), areas.end(), [] (const auto& each) { return each.area->hasKeyboardFocus (true); });
    auto index = here != areas.end() ? static_cast<int> (here - areas.begin()) : (step > 0 ? -1 : count);

    // An area in which nothing can be used right now is passed over.
    for (int tries = 0; tries < count; ++tries)
    {
        index = (index + step + count) % count;
        const auto& next = areas[static_cast<std::size_t> (index)];
        next.target->grabKeyboardFocus();

        if (next.area->hasKeyboardFocus (true))
            return;
    }
}

void giveKeyToDialog (DialogScrim& scrim, const juce::KeyPress& key)
{
    auto* dialog = scrim.getTop();

    if (dialog == nullptr || dialog->hasKeyboardFocus (true))
        return;

    dialog->takeFirstFocus();
    auto* focused = juce::Component::getCurrentlyFocusedComponent();

    if (! (focused != nullptr && dialog->isParentOf (focused) && focused->keyPressed (key)))
        dialog->keyPressed (key);
}

} // namespace tessivar
