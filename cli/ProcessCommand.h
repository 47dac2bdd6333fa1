#pragma once

#include "cli/CommandContext.h"
#include "cli/ProcessRequest.h"

namespace tessivar
{

/** Runs "process" and prints what it found. Returns the exit code. */
[[nodiscard]] int runProcess (const ProcessRequest& request, const CommandContext& context);

} // namespace tessivar
