#pragma once

#include "cli/CommandContext.h"
#include "cli/ProcessReport.h"
#include "cli/ProcessRequest.h"

namespace tessivar
{

/** Takes one Group through the steps that are asked for. Tells errors and progress as they come; the report is for the
    caller to print.
*/
[[nodiscard]] ProcessReport runGroup (const ProcessRequest& request, const CommandContext& context);

} // namespace tessivar
