#pragma once

#include <string>

namespace tessivar
{

/** The version, as "0.1.0". */
[[nodiscard]] std::string programVersion();

/** The source revision this program was built from, or "unknown". */
[[nodiscard]] std::string programRevision();

} // namespace tessivar
