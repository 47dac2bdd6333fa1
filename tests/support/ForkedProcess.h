#pragma once

#include <functional>

#ifdef _WIN32
    #include "tests/support/RepeatedRun.h"
#else
    #include <csignal>

    #include <sys/wait.h>
    #include <unistd.h>
#endif

namespace tessivar::test
{

#ifdef _WIN32

/** A process that comes to the same place of the same test by itself and does some work there. It needs the
    same way to it, without a generator, and what this process has made in temporary folders, once more.
*/
class ForkedProcess
{
public:
    /** What the work returns is the exit code. */
    explicit ForkedProcess (const std::function<int()>& work) : process (RepeatedRun::current().start (work))
    {
    }

    ~ForkedProcess() { process->kill(); }

    [[nodiscard]] int pid() const { return process->pid(); }

    /** The exit code. */
    int wait() { return process->wait(); }

    /** Ends it at once; true when nothing else has. */
    bool kill() { return process->kill(); }

    ForkedProcess (const ForkedProcess&) = delete;
    ForkedProcess& operator= (const ForkedProcess&) = delete;

private:
    const std::unique_ptr<RepeatedRun::Process> process;
};

#else

/** A copy of this process that does some work and ends at once, without destructors, as a crash would. */
class ForkedProcess
{
public:
    /** What the work returns is the exit code. */
    explicit ForkedProcess (const std::function<int()>& work) : process (::fork())
    {
        if (process == 0)
            ::_exit (work());
    }

    ~ForkedProcess()
    {
        if (! ended)
            (void) kill();
    }

    [[nodiscard]] pid_t pid() const { return process; }

    /** The exit code, or 256 plus the signal that ended it. */
    int wait()
    {
        int status = 0;
        ended = ::waitpid (process, &status, 0) == process;
        return ! ended ? -1 : WIFEXITED (status) ? WEXITSTATUS (status) : 256 + WTERMSIG (status);
    }

    /** Ends it at once; true when nothing else has. */
    bool kill()
    {
        ::kill (process, SIGKILL);
        return wait() == 256 + SIGKILL;
    }

    ForkedProcess (const ForkedProcess&) = delete;
    ForkedProcess& operator= (const ForkedProcess&) = delete;

private:
    const pid_t process;
    bool ended = false;
};

#endif

} // namespace tessivar::test
