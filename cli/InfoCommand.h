#pragma once

#include "cli/CommandContext.h"

#include <string>
#include <vector>

namespace tessivar
{

/** Reads each file to its end and prints its properties and problems. Returns the exit code: someFailed when
    a file was refused, inputRefused when all were.
*/
[[nodiscard]] int
runInfo (const std::vector<std::string>& arguments, bool asJson, const CommandContext& context);

} // namespace tessivar
