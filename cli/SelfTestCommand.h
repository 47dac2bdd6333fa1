#pragma once

#include "cli/CommandContext.h"

namespace tessivar
{

/** Checks the installation and prints a line for each check. Returns the exit code: analysis failed when one
    failed.
*/
[[nodiscard]] int runSelfTestCommand (const CommandContext& context);

} // namespace tessivar
