#pragma once

#include "cli/CommandContext.h"
#include "cli/ProcessRequest.h"

#include <vector>

namespace tessivar
{

/** Runs "process", "analyze" or "export" on one Group after the other and prints what it found; a Group that
    fails does not keep the others back, an interruption does. Returns the exit code: that of the Group when
    there is one, or when all ended alike, else someFailed.
*/
[[nodiscard]] int runProcess (const std::vector<ProcessRequest>& requests, const CommandContext& context);

} // namespace tessivar
