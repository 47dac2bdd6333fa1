#pragma once

#include <juce_core/juce_core.h>

#include <functional>
#include <optional>
#include <string>

namespace tessivar
{

/** Runs a program to its end and returns what it printed, of any length; nothing when it can't be started,
    fails, or is ended because keepWaiting() returned false. That is called on this thread, again and again
    until the end, and takes a few milliseconds each time.
    @param arguments  the first is the program's name or path; none of them passes through a shell
*/
[[nodiscard]] std::optional<std::string> outputOfProgram (const juce::StringArray& arguments,
                                                          const std::function<bool()>& keepWaiting);

} // namespace tessivar
