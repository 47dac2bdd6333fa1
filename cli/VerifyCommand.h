#pragma once

#include "cli/CommandContext.h"

#include <string>
#include <vector>

namespace tessivar
{

/** Runs "verify" and prints what is damaged and what can be read. Returns the exit code. */
[[nodiscard]] int
runVerify (const std::vector<std::string>& arguments, bool asJson, const CommandContext& context);

} // namespace tessivar
