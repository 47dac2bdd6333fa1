#pragma once

#include "cli/CommandTable.h"

#include <string>

namespace tessivar
{

/** The help of one command, or of the program when command is null. Lines of at most 80 columns. */
[[nodiscard]] std::string helpText (const CommandSpec* command);

/** The manual page, section 1, as troff source. */
[[nodiscard]] std::string manPage (std::string_view version);

/** A completion script for bash. */
[[nodiscard]] std::string bashCompletion();

} // namespace tessivar
