#pragma once

#include "app/FileChooser.h"

namespace tessivar
{

/** The arguments that a chooser program is started with; the first is its name. For tests. */
[[nodiscard]] juce::StringArray zenityArguments (const FileChooserRequest& request);
[[nodiscard]] juce::StringArray kdialogArguments (const FileChooserRequest& request);

} // namespace tessivar
