#include "cli/Interruption.h"
#include "cli/Program.h"
#include "model/RoomRelease.h"

#include <unistd.h>

#include <iostream>

int main (int numArguments, char** arguments)
{
    tessivar::installInterruptionHandlers();

    // Found through the running program itself: neither working directory nor argv[0] tells.
    const auto program = juce::File::getSpecialLocation (juce::File::hostApplicationPath);

    const tessivar::CommandContext context{ .out = std::cout,
                                            .diagnostics = std::cerr,
                                            .diagnosticsAreTerminal = isatty (STDERR_FILENO) == 1,
                                            .resourceFolder = program.getSiblingFile ("Resources"),
                                            .stopRequested = tessivar::interruptionRequested };
    const auto code = tessivar::runProgram ({ arguments + 1, arguments + numArguments }, context);

    // After an interruption the user waits for the end; otherwise the next command may need the room.
    if (tessivar::interruptionRequested())
        tessivar::roomRelease::handOver();

    return code;
}
