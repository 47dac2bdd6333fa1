#pragma once

#include <csignal>
#include <functional>

#include <sys/wait.h>
#include <unistd.h>

namespace tessivar::test
{

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
            (void) end (SIGKILL);
    }

    [[nodiscard]] pid_t pid() const { return process; }

    /** The exit code, or 256 plus the signal that ended it. */
    int wait()
    {
        int status = 0;
        ended = ::waitpid (process, &status, 0) == process;
        return ! ended ? -1 : WIFEXITED (status) ? WEXITSTATUS (status) : 256 + WTERMSIG (status);
    }

    int end (int signal)
    {
        ::kill (process, signal);
        return wait();
    }

    ForkedProcess (const ForkedProcess&) = delete;
    ForkedProcess& operator= (const ForkedProcess&) = delete;

private:
    const pid_t process;
    bool ended = false;
};

} // namespace tessivar::test
