#include "platform/Process.h"

#include "platform/DiskNames.h"
#include "platform/ProcessOutput.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>

#include <dlfcn.h>
#include <unistd.h>

namespace tessivar
{

int processId()
{
    return ::getpid();
}

bool isProcessAlive (int id)
{
    return ::kill (id, 0) == 0 || errno == EPERM;
}

juce::String currentBoot()
{
    return juce::File ("/proc/sys/kernel/random/boot_id").loadFileAsString().trim();
}

juce::File programFile()
{
    return juce::File::getSpecialLocation (juce::File::hostApplicationPath);
}

juce::String environmentVariable (const char* name)
{
    const auto* value = std::getenv (name);
    return value != nullptr ? pathOfBytes (value) : juce::String();
}

bool standardErrorIsTerminal()
{
    return ::isatty (STDERR_FILENO) == 1;
}

std::vector<std::string> programArguments (int numArguments, const char* const* arguments)
{
    return { arguments + std::min (1, numArguments), arguments + numArguments };
}

juce::StringArray namesOfPattern (const juce::String& argument)
{
    return { argument };
}

void prepareOutput()
{
    // A handler and not SIG_IGN, which other programs would inherit.
    struct sigaction action = {};
    action.sa_handler = [] (int) {};
    action.sa_flags = SA_RESTART;
    sigemptyset (&action.sa_mask);
    ::sigaction (SIGXFSZ, &action, nullptr);
    ::signal (SIGPIPE, SIG_IGN);
}

std::optional<std::string> outputOfProgram (const juce::StringArray& arguments,
                                            const std::function<bool()>& keepWaiting)
{
    juce::ChildProcess process;

    if (! process.start (arguments, juce::ChildProcess::wantStdOut))
        return std::nullopt;

    auto output = readToEnd (
        [&] (std::span<char> piece)
        {
            const auto count = process.readProcessOutput (piece.data(), static_cast<int> (piece.size()));
            return static_cast<std::size_t> (std::max (0, count));
        },
        [&] { process.kill(); },
        keepWaiting);
    process.waitForProcessToFinish (longestExit);
    return process.getExitCode() == 0 ? output : std::nullopt;
}

juce::String libraryHolding (const void* function)
{
    Dl_info info{};
    return ::dladdr (function, &info) != 0 && info.dli_fname != nullptr ? pathOfBytes (info.dli_fname)
                                                                        : juce::String();
}

juce::StringArray listeningSockets()
{
    return listeningSocketsIn (juce::File ("/proc/net/unix").loadFileAsString());
}

} // namespace tessivar
