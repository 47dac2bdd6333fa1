#pragma once

#include <functional>
#include <thread>

namespace tessivar
{

/** Hears that the program is asked to end: SIGTERM, SIGINT and SIGHUP, as a logout, a shutdown or a terminal sends them.
    A second one of them ends the process at once, as ever. One object a process.
*/
class TerminationSignals
{
public:
    /** @param onSignal  called once, on a thread of this object, with the number of the signal */
    explicit TerminationSignals (std::function<void (int signal)> onSignal);

    /** Puts the default actions back. */
    ~TerminationSignals();

    TerminationSignals (const TerminationSignals&) = delete;
    TerminationSignals& operator= (const TerminationSignals&) = delete;

private:
    int readEnd = -1, writeEnd = -1;
    std::thread reader;
};

} // namespace tessivar
