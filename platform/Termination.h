#pragma once

#include <functional>
#include <memory>

namespace tessivar
{

// Two ways to hear that the program is asked to end: by Ctrl+C, a closed terminal, a logout, a shutdown. One
// of them a process.

/** Makes such a request known to the work in place of ending the process, so that it leaves nothing half done
    behind. What the caller told this process to ignore, as nohup does, stays ignored.
*/
void noteTerminationRequests();

/** True once one has come. Cheap, on any thread. */
[[nodiscard]] bool terminationRequested();

/** Tells of the first such request, which comes in place of the end; a second one ends the process at once.
*/
class TerminationListener
{
public:
    /** @param onRequest  called once, on a thread of this object, with the system's number for the kind of
        request
    */
    explicit TerminationListener (std::function<void (int kind)> onRequest);

    /** Requests end the process again. */
    ~TerminationListener();

    TerminationListener (const TerminationListener&) = delete;
    TerminationListener& operator= (const TerminationListener&) = delete;

private:
    struct Waiting;
    std::unique_ptr<Waiting> waiting; // null: the system had no means to listen
};

} // namespace tessivar
