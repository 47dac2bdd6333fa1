#pragma once

#include "ui/dialogs/KeySheetDialog.h"

#include <vector>

namespace tessivar
{

/** "Ctrl+Shift+S" */
[[nodiscard]] juce::String keyText (const juce::KeyPress& key);

/** Every key of the window, as the table of verbs has them. */
[[nodiscard]] std::vector<KeySheetSection> keySheetSections();

} // namespace tessivar
