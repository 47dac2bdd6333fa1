#pragma once

#include "cli/CommandContext.h"

#include <string>
#include <vector>

namespace tessivar
{

/** The whole program: does what the arguments, without the program's name, ask for and returns the exit code.
*/
[[nodiscard]] int runProgram (const std::vector<std::string>& arguments, const CommandContext& context);

} // namespace tessivar
