#include "cli/Interruption.h"
#include "cli/Program.h"
#include "model/RoomRelease.h"

#include <unistd.h>

#include <iostream>

int main (int numArguments, char** arguments)
{
    tessivar::installInterruptionHandlers();

    // Found through the running program itself: the working directory and the name it was started by say nothing.
    const auto program = juce::File::getSpecialLocation (juce::File::hostApplicationPath);

    const tessivar::CommandContext context{ .out = std::cout,
                                            .diagnostics = std::cerr,
                                            .diagnosticsAreTerminal = isatty (STDERR_FILENO) == 1,
                                            .resourceFolder = program.getSiblingFile ("Resources"),
                                            .stopRequested = tessivar::interruptionRequested };
    const auto code = tessivar::runProgram ({ arguments + 1, arguments + numArguments }, context);

    // Who interrupts waits for the end; who waits for the result may want to use the room.
    if (tessivar::interruptionRequested())
        tessivar::roomRelease::handOver();

    return code;
}
