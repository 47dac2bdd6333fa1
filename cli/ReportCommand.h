#pragma once

#include "cli/ProcessReport.h"
#include "cli/ProcessRequest.h"
#include "report/ReportFacts.h"

namespace tessivar
{

/** What a page about a run tells. */
[[nodiscard]] ReportContent contentOf (const ProcessReport& report, const ProcessRequest& request);

} // namespace tessivar
