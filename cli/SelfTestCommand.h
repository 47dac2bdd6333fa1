#pragma once

#include "cli/CommandContext.h"

namespace tessivar
{

/** Checks the installation and prints a line per check. Returns the exit code: analysisFailed when one
    failed.
*/
[[nodiscard]] int runSelfTestCommand (const CommandContext& context);

} // namespace tessivar
