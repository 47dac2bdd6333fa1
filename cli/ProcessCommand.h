#pragma once

#include "cli/CommandContext.h"
#include "cli/ProcessRequest.h"

#include <vector>

namespace tessivar
{

/** Runs "process", "analyze" or "export" on each Group and prints the reports; a Group that fails does not
    stop the others, an interruption does. Returns the exit code that all Groups share, else someFailed.
*/
[[nodiscard]] int runProcess (const std::vector<ProcessRequest>& requests, const CommandContext& context);

} // namespace tessivar
