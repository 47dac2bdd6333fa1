#include "platform/Process.h"

#include "platform/DiskNames.h"

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

void makeBadWritesFail()
{
    // A handler and not SIG_IGN, which other programs would inherit.
    struct sigaction action = {};
    action.sa_handler = [] (int) {};
    action.sa_flags = SA_RESTART;
    sigemptyset (&action.sa_mask);
    ::sigaction (SIGXFSZ, &action, nullptr);
    ::signal (SIGPIPE, SIG_IGN);
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

juce::StringArray listeningSocketsIn (const juce::String& table)
{
    // Columns: number, references, protocol, flags, type, state, inode, path.
    constexpr int flagsColumn = 3, pathColumn = 7;
    constexpr int listens = 0x10000;
    juce::StringArray names;

    for (const auto& line : juce::StringArray::fromLines (table))
    {
        auto columns = juce::StringArray::fromTokens (line, " ", {});
        columns.removeEmptyStrings();

        if (columns.size() > pathColumn && (columns[flagsColumn].getHexValue32() & listens) != 0)
            names.add (columns[pathColumn]);
    }

    return names;
}

} // namespace tessivar
