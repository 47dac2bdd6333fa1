#include "platform/LogFile.h"

#include "platform/posix/SystemCall.h"

#include <array>
#include <csignal>
#include <cstring>

#include <execinfo.h>
#include <unistd.h>

namespace tessivar
{

namespace
{
constexpr int maximumFrames = 64;

// What a crash may touch: an open file and nothing that could have been broken with the rest.
volatile std::sig_atomic_t crashDescriptor = -1;

void writeText (int descriptor, const char* text)
{
    [[maybe_unused]] const auto ignored = ::write (descriptor, text, std::strlen (text));
}

extern "C" void noteCrash (int signal)
{
    if (const int descriptor = crashDescriptor; descriptor >= 0)
    {
        writeText (descriptor, "crashed: signal ");
        const char digits[] = { static_cast<char> ('0' + signal / 10),
                                static_cast<char> ('0' + signal % 10),
                                0 };
        writeText (descriptor, digits);
        writeText (descriptor, "\n");
        std::array<void*, maximumFrames> frames{};
        ::backtrace_symbols_fd (frames.data(), ::backtrace (frames.data(), maximumFrames), descriptor);
    }

    // The default action was put back when this handler was entered.
    ::raise (signal);
}
} // namespace

LogFile::~LogFile()
{
    if (file.isOpen() && crashDescriptor == posix::descriptorOf (file.handle()))
        crashDescriptor = -1;
}

void LogFile::noteCrashes()
{
    crashDescriptor = posix::descriptorOf (file.handle());

    // The first call loads what it needs, which must not happen in a crash.
    std::array<void*, 1> frame{};
    [[maybe_unused]] const auto depth = ::backtrace (frame.data(), 1);

    struct sigaction action = {};
    action.sa_handler = noteCrash;
    action.sa_flags = static_cast<int> (SA_RESETHAND) | SA_NODEFER;
    sigemptyset (&action.sa_mask);

    for (const auto signal : { SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT })
        ::sigaction (signal, &action, nullptr);
}

} // namespace tessivar
