#pragma once

#include "cli/CommandContext.h"
#include "cli/CommandLine.h"

namespace tessivar
{

// Each runs one command, prints what it has to tell, and returns the exit code.

/** "process", "analyze" and "export": a Group that fails does not stop the others, an interruption does. The
    exit code is the one that all Groups share, else someFailed.
*/
[[nodiscard]] int runProcess (const Invocation& invocation, const CommandContext& context);

/** "edit": prints what the file now holds. */
[[nodiscard]] int runEdit (const Invocation& invocation, const CommandContext& context);

/** "verify": prints what is damaged and what can be read. */
[[nodiscard]] int runVerify (const Invocation& invocation, const CommandContext& context);

/** "play": opens a sound device and plays until the end of the range or an interruption. */
[[nodiscard]] int runPlay (const Invocation& invocation, const CommandContext& context);

/** "render": writes what "play" would play to a mono file. */
[[nodiscard]] int runRender (const Invocation& invocation, const CommandContext& context);

/** "report": writes a page about a group file. */
[[nodiscard]] int runReport (const Invocation& invocation, const CommandContext& context);

/** "devices": lists the outputs that "play" can open. */
[[nodiscard]] int runDevices (const Invocation& invocation, const CommandContext& context);

/** "classify": prints which drum type each file name is taken for. */
[[nodiscard]] int runClassify (const Invocation& invocation, const CommandContext& context);

/** "info": reads each file to its end and prints its properties and problems. The exit code is someFailed
    when a file was refused, inputRefused when all were.
*/
[[nodiscard]] int runInfo (const Invocation& invocation, const CommandContext& context);

/** "index": makes a page over the sessions that have a document in a folder. */
[[nodiscard]] int runIndex (const Invocation& invocation, const CommandContext& context);

/** "demo": writes the demo session into a folder, as WAV files of its own depth, with its licence. */
[[nodiscard]] int runDemo (const Invocation& invocation, const CommandContext& context);

/** "selftest": checks the installation and prints a line per check; analysisFailed when one failed. */
[[nodiscard]] int runSelfTestCommand (const Invocation& invocation, const CommandContext& context);

} // namespace tessivar
