#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tessivar::test
{

/** Where a test stands, so that a second process of the same program can come there: Windows has no copies of
    processes.
*/
class RepeatedRun
{
public:
    [[nodiscard]] static RepeatedRun& current();

    class Process
    {
    public:
        explicit Process (void* handleToOwn)
            : handle (handleToOwn) {} // null: the one that is repeated runs it
        ~Process();

        [[nodiscard]] int pid() const;
        int wait();
        bool kill();

        Process (const Process&) = delete;
        Process& operator= (const Process&) = delete;

    private:
        void* handle;
    };

    /** Starts a process that does the work, or does it and ends when this is that process. */
    std::unique_ptr<Process> start (const std::function<int()>& work);

    /** The test is entered anew, and its sections one after the other. */
    void beginTest (const std::string& name);
    void beginSection (const std::string& name) { sections.push_back (name); }

    /** A temporary folder's path: in the second process that of the first one, which then goes with it. */
    [[nodiscard]] std::string folder (const std::string& suggested, bool& isOwn);

private:
    std::string test;
    std::vector<std::string> sections, folders;
    int numStarted = 0;
};

} // namespace tessivar::test
