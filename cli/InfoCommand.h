#pragma once

#include "cli/CommandContext.h"

#include <string>
#include <vector>

namespace tessivar
{

/** Reads each file to its end and prints what it is and what is wrong with it. Returns the exit code: some
    failed when a file was refused, input refused when all were.
*/
[[nodiscard]] int
runInfo (const std::vector<std::string>& arguments, bool asJson, const CommandContext& context);

} // namespace tessivar
