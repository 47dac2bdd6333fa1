#include "platform/Termination.h"

#include <array>
#include <atomic>
#include <csignal>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace tessivar
{

namespace
{
constexpr std::array signals{ SIGTERM, SIGINT, SIGHUP };

std::atomic<bool> isRequested{ false };
static_assert (std::atomic<bool>::is_always_lock_free,
               "a signal handler may touch nothing that takes a lock");

volatile std::sig_atomic_t pipeEnd = -1;

extern "C" void note (int)
{
    isRequested.store (true, std::memory_order_relaxed);
}

extern "C" void passOn (int signal)
{
    const auto byte = static_cast<unsigned char> (signal);

    if (const int descriptor = pipeEnd; descriptor >= 0) [[maybe_unused]]
        const auto ignored = ::write (descriptor, &byte, 1);
}

void setAction (int signal, void (*handler) (int), int flags)
{
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset (&action.sa_mask);
    ::sigaction (signal, &action, nullptr);
}
} // namespace

void noteTerminationRequests()
{
    for (const auto signal : signals)
    {
        struct sigaction previous = {};
        ::sigaction (signal, nullptr, &previous);

        if (previous.sa_handler != SIG_IGN)
            setAction (signal, note, SA_RESTART);
    }
}

bool terminationRequested()
{
    return isRequested.load (std::memory_order_relaxed);
}

struct TerminationListener::Waiting
{
    std::array<int, 2> ends{}; // of a pipe from the handler to the thread
    std::thread reader;
};

TerminationListener::TerminationListener (std::function<void (int)> onRequest)
{
    std::array<int, 2> ends{};

    if (::pipe2 (ends.data(), O_CLOEXEC) != 0)
        return;

    pipeEnd = ends[1];
    waiting = std::make_unique<Waiting>();
    waiting->ends = ends;
    waiting->reader = std::thread (
        [readEnd = ends[0], callback = std::move (onRequest)]
        {
            unsigned char byte = 0;

            if (::read (readEnd, &byte, 1) == 1 && byte != 0)
                callback (byte);
        });

    // The handler stands for the first signal only. It is a handler and no blocked signal, since programs
    // that are started from here would inherit the block.
    for (const auto signal : signals)
        setAction (signal, passOn, static_cast<int> (SA_RESETHAND) | SA_RESTART);
}

TerminationListener::~TerminationListener()
{
    if (waiting == nullptr)
        return;

    for (const auto signal : signals)
        setAction (signal, SIG_DFL, 0);

    pipeEnd = -1;
    const unsigned char stop = 0;
    [[maybe_unused]] const auto ignored = ::write (waiting->ends[1], &stop, 1);
    waiting->reader.join();

    for (const auto end : waiting->ends)
        ::close (end);
}

} // namespace tessivar
