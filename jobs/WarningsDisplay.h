#pragma once

#include "jobs/UserPrompts.h"
#include "model/TessivarWorkspace.h"

namespace tessivar
{

/** Shows the collected warnings kind by kind, except the kinds the user has silenced, and silences those that
    the user never wants to see again. The collector is empty afterwards.
*/
void showWarnings (ImportWarnings& warnings, TessivarWorkspace& workspace, UserPrompts& prompts);

} // namespace tessivar
