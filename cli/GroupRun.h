#pragma once

#include "cli/CommandContext.h"
#include "cli/ProcessReport.h"
#include "cli/ProcessRequest.h"
#include "model/OutputRules.h"

namespace tessivar
{

/** Takes one Group through the steps that are asked for. Tells errors and progress as they come; the report
    is for the caller to print. What the Group writes is claimed from the rules of the whole command line.
*/
[[nodiscard]] ProcessReport
runGroup (const ProcessRequest& request, const CommandContext& context, OutputRules& rules);

} // namespace tessivar
