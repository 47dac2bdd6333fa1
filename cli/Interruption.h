#pragma once

namespace tessivar
{

/** Makes Ctrl+C, a request to terminate and a closed terminal known to the work instead of ending the
    process, so that it leaves nothing half done behind. Writing into a closed pipe, or more than a file may
    hold, becomes an ordinary error. For the whole process.
*/
void installInterruptionHandlers();

/** True once one of these signals has come. Cheap, on any thread. */
[[nodiscard]] bool interruptionRequested();

} // namespace tessivar
