#pragma once

#include "cli/CommandContext.h"
#include "cli/PlayRequest.h"

namespace tessivar
{

/** Runs "play": opens a sound device and plays until the end of the range or an interruption. Returns the
    exit code.
*/
[[nodiscard]] int runPlay (const PlayRequest& request, const CommandContext& context);

/** Runs "render": writes what "play" would play to a mono file. Returns the exit code. */
[[nodiscard]] int runRender (const PlayRequest& request, const CommandContext& context);

/** Runs "devices": lists the outputs that "play" can open. Returns the exit code. */
[[nodiscard]] int runDevices (const CommandContext& context);

} // namespace tessivar
