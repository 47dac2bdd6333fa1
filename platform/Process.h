#pragma once

#include <juce_core/juce_core.h>

namespace tessivar
{

/** The number of this process; nobody else has it as long as it lives. */
[[nodiscard]] int processId();
[[nodiscard]] bool isProcessAlive (int id);

/** Part of a name that no other process gives: the number of this one, "-" and eight hexadecimal digits by
    chance.
*/
[[nodiscard]] juce::String uniqueTag();
[[nodiscard]] bool isUniqueTag (const juce::String& text);

/** Another text after every start of the computer. */
[[nodiscard]] juce::String currentBoot();

/** The running program itself, whatever name and working directory it was started with, and through links. */
[[nodiscard]] juce::File programFile();

/** Empty when it is not set. */
[[nodiscard]] juce::String environmentVariable (const char* name);

[[nodiscard]] bool standardErrorIsTerminal();

/** Makes writing into a pipe that nobody reads, or more than a file may hold (ulimit -f), fail like any other
    write in place of ending the process. Programs that are started from here keep the system's way with the
    latter. Once, at the start.
*/
void makeBadWritesFail();

} // namespace tessivar
