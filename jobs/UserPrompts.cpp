#include "jobs/UserPrompts.h"

#include "model/TessivarWorkspace.h"

namespace tessivar
{

void showWarnings (ImportWarnings& warnings, TessivarWorkspace& workspace, UserPrompts& prompts)
{
    for (int code = 0; code < ImportWarnings::numCodes; ++code)
        warnings.setSilenced (code, ! workspace.shouldShowWarning (code));

    warnings.show (
        [&] (const ImportWarnings::Warning& warning)
        {
            const auto neverAgain = prompts.showWarning (warning) && warning.canBeSilenced;

            if (neverAgain)
                workspace.suppressWarning (warning.code);

            return neverAgain;
        });
}

} // namespace tessivar
