#pragma once

#include <juce_core/juce_core.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

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

/** The arguments of main() as bytes, from the first behind the program's name (DiskNames tells how they turn
    into text), of all characters whatever the system's language.
*/
[[nodiscard]] std::vector<std::string> programArguments (int numArguments, const char* const* arguments);

/** The file that an argument names, seen from the working directory unless it is a whole path; a tilde is a
    letter of the name.
*/
[[nodiscard]] juce::File fileOfArgument (const juce::String& argument);

/** The names that an argument stands for: those that fit where it ends in a pattern (* and ?) and the shells
    of this system leave patterns to programs, as whole paths; else the argument itself.
*/
[[nodiscard]] juce::StringArray namesOfPattern (const juce::String& argument);

/** For what is printed: it goes out byte by byte, as UTF-8 on a terminal. Writing into a pipe that nobody
    reads, or more than a file may hold (ulimit -f), fails like any other write and does not end the process;
    programs that are started from here keep the system's way with the latter. Once, at the start.
*/
void prepareOutput();

/** Runs a program to its end and returns what it printed, of any length; nothing when it can't be started,
    fails, or is ended because keepWaiting() returned false. That is called on this thread, again and again
    until the end, and takes a few milliseconds each time.
    @param arguments  the first is the program's name or path; none of them passes through a shell
*/
[[nodiscard]] std::optional<std::string> outputOfProgram (const juce::StringArray& arguments,
                                                          const std::function<bool()>& keepWaiting);

/** The file of the shared library that a function lies in, as it was opened; nothing when the system can't
    tell.
*/
[[nodiscard]] juce::String libraryHolding (const void* function);

/** Names of the local sockets that some process of this system listens at; empty where these can't be listed.
*/
[[nodiscard]] juce::StringArray listeningSockets();

/** The same from the text of the system's table. For tests. */
[[nodiscard]] juce::StringArray listeningSocketsIn (const juce::String& table);

} // namespace tessivar
