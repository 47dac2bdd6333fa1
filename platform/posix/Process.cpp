#include "platform/Process.h"

#include "platform/DiskNames.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <thread>

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
    constexpr int exitMs = 2000; // from the end of its output to its own
    juce::ChildProcess process;

    if (! process.start (arguments, juce::ChildProcess::wantStdOut))
        return std::nullopt;

    // Read while it runs: whoever writes to a full pipe waits.
    std::string output;
    std::atomic<bool> isRead{ false };
    std::thread reader (
        [&]
        {
            std::array<char, 4096> piece{};

            for (int count = 1; count > 0;)
            {
                count = process.readProcessOutput (piece.data(), static_cast<int> (piece.size()));
                output.append (piece.data(), static_cast<std::size_t> (std::max (0, count)));
            }

            isRead = true;
        });

    auto isEnding = false;

    while (! isRead && ! isEnding)
        isEnding = ! keepWaiting();

    if (isEnding)
        process.kill();

    reader.join();
    process.waitForProcessToFinish (exitMs);
    return ! isEnding && process.getExitCode() == 0 ? std::make_optional (output) : std::nullopt;
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
