#pragma once

#include "cli/CommandContext.h"

#include <string>

namespace tessivar
{

/** Writes the demo session into a folder, as WAV files of its own depth, with its licence. Returns the exit
    code.
*/
[[nodiscard]] int runDemo (const std::string& folder, bool overwrite, const CommandContext& context);

} // namespace tessivar
