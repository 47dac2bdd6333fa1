#pragma once

#include "jobs/UserPrompts.h"
#include "model/TessivarWorkspace.h"

namespace tessivar
{

/** Shows what was collected, one kind after the other, without the kinds that the user has silenced for good;
    silences those that the user wants to see never again. The collector is empty afterwards.
*/
void showWarnings (ImportWarnings& warnings, TessivarWorkspace& workspace, UserPrompts& prompts);

} // namespace tessivar
