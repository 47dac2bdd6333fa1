#pragma once

#include "cli/CommandContext.h"
#include "cli/ProcessReport.h"
#include "cli/ProcessRequest.h"
#include "model/OutputRules.h"

namespace tessivar
{

/** Takes one Group through the steps of a request. Prints errors and progress as they come; the caller prints
    the report. Output files are claimed from the rules of the whole command line.
*/
[[nodiscard]] ProcessReport
runGroup (const ProcessRequest& request, const CommandContext& context, OutputRules& rules);

} // namespace tessivar
