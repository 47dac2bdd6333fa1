#pragma once

#include "platform/windows/SystemCall.h"

/** Who may open what. For the sources of this folder alone. */
namespace tessivar::windows
{

/** The access list of what is made for the user alone; the system itself keeps its access. */
SECURITY_ATTRIBUTES* forTheUserAlone();

/** Whether what was opened with READ_CONTROL belongs to this user, or to nobody, as on file systems without
    owners.
*/
bool belongsToUser (HANDLE object);

/** Whether the process that made a pipe is one of this user's. */
bool isPipeOfUser (HANDLE pipe);

/** Replaces the access list of a folder by that of the user alone. */
void closeToOthers (const juce::File& folder);

/** Gives an open file the access list of another one. */
SystemError copyAccess (const juce::File& from, HANDLE to);

} // namespace tessivar::windows
