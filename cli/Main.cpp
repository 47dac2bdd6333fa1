#include "cli/Program.h"
#include "platform/Process.h"
#include "platform/RoomRelease.h"
#include "platform/Termination.h"

#include <iostream>

int main (int numArguments, char** arguments)
{
    tessivar::noteTerminationRequests();
    tessivar::prepareOutput();

    const tessivar::CommandContext context{ .out = std::cout,
                                            .diagnostics = std::cerr,
                                            .diagnosticsAreTerminal = tessivar::standardErrorIsTerminal(),
                                            .resourceFolder =
                                                tessivar::programFile().getSiblingFile ("Resources"),
                                            .stopRequested = tessivar::terminationRequested };
    const auto code = tessivar::runProgram (tessivar::programArguments (numArguments, arguments), context);

    // After an interruption the user waits for the end; otherwise the next command may need the room.
    if (tessivar::terminationRequested())
        tessivar::roomRelease::handOver();

    return code;
}
