#include "cli/Interruption.h"

#include "jobs/SystemResources.h"

#include <atomic>
#include <csignal>

namespace tessivar
{

namespace
{
std::atomic<bool> requested{ false };
static_assert (std::atomic<bool>::is_always_lock_free,
               "a signal handler may touch nothing that takes a lock");

void requestInterruption (int)
{
    requested.store (true, std::memory_order_relaxed);
}
} // namespace

void installInterruptionHandlers()
{
    struct sigaction action = {};
    action.sa_handler = requestInterruption;
    sigemptyset (&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const auto signalNumber : { SIGINT, SIGTERM, SIGHUP })
    {
        // Signals that the caller ignores, as nohup does, stay ignored.
        struct sigaction previous = {};
        sigaction (signalNumber, nullptr, &previous);
        if (previous.sa_handler != SIG_IGN)
            sigaction (signalNumber, &action, nullptr);
    }

    struct sigaction ignored = {};
    ignored.sa_handler = SIG_IGN;
    sigemptyset (&ignored.sa_mask);
    sigaction (SIGPIPE, &ignored, nullptr);
    makeTooLargeWritesFail();
}

bool interruptionRequested()
{
    return requested.load (std::memory_order_relaxed);
}

} // namespace tessivar
