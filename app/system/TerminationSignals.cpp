#include "app/system/TerminationSignals.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::array signals{ SIGTERM, SIGINT, SIGHUP };

volatile std::sig_atomic_t pipeEnd = -1;

// The handler stands for the first signal only. It is a handler and no blocked signal, since programs that are started
// from here would inherit the block.
extern "C" void passOn (int signal)
{
    const auto byte = static_cast<unsigned char> (signal);

    if (const int descriptor = pipeEnd; descriptor >= 0) [[maybe_unused]]
        const auto ignored = ::write (descriptor, &byte, 1);
}

void setActions (void (*handler) (int), int flags)
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset (&action.sa_mask);

    for (const auto signal : signals)
        ::sigaction (signal, &action, nullptr);
}
} // namespace

TerminationSignals::TerminationSignals (std::function<void (int)> onSignal)
{
    std::array<int, 2> ends{};

    if (::pipe2 (ends.data(), O_CLOEXEC) != 0)
        return;

    readEnd = ends[0];
    writeEnd = ends[1];
    pipeEnd = writeEnd;
    reader = std::thread (
        [this, callback = std::move (onSignal)]
        {
            unsigned char byte = 0;

            if (::read (readEnd, &byte, 1) == 1 && byte != 0)
                callback (byte);
        });
    setActions (passOn, static_cast<int> (SA_RESETHAND) | SA_RESTART);
}

TerminationSignals::~TerminationSignals()
{
    if (writeEnd < 0)
        return;

    setActions (SIG_DFL, 0);
    pipeEnd = -1;
    const unsigned char stop = 0;
    [[maybe_unused]] const auto ignored = ::write (writeEnd, &stop, 1);
    reader.join();
    ::close (readEnd);
    ::close (writeEnd);
}

} // namespace tessivar
