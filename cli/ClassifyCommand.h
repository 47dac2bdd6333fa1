#pragma once

#include "cli/CommandContext.h"

#include <string>
#include <vector>

namespace tessivar
{

/** Prints which drum type each file name is taken for. Returns the exit code. */
[[nodiscard]] int runClassify (const std::vector<std::string>& names, const CommandContext& context);

} // namespace tessivar
