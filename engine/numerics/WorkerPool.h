#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace tessivar
{

/** A fixed set of threads that share the items of one task at a time. Waiting threads sleep; none spins.

    The thread that calls forEach() or onEachWorker() works too, so a pool of one has no thread of its own.
    Both return when all work is done. An exception in the work ends the task early and is rethrown to the
    caller.
*/
class WorkerPool
{
public:
    /** numThreads includes the caller's thread; values below 1 count as 1. Fewer where the system gives no
        more. */
    explicit WorkerPool (int numThreads);
    ~WorkerPool();

    WorkerPool (const WorkerPool&) = delete;
    WorkerPool& operator= (const WorkerPool&) = delete;

    [[nodiscard]] int numWorkers() const { return static_cast<int> (threads.size()) + 1; }

    /** Calls work (item, worker) once for each item 0 .. numItems - 1, handed out in ascending order; worker
        is 0 .. numWorkers() - 1 and never used by two threads at a time. */
    void forEach (std::size_t numItems, const std::function<void (std::size_t item, int worker)>& work);

    /** Calls work (worker) once on every worker at the same time. */
    void onEachWorker (const std::function<void (int worker)>& work);

private:
    void runThread (int worker);
    void runTask (int worker);

    std::vector<std::thread> threads;

    // Guards task, taskNumber, numRunning, failure and finished.
    std::mutex taskLock;
    std::condition_variable taskStarted, taskDone;
    const std::function<void (int)>* task = nullptr;
    std::size_t taskNumber = 0;
    std::size_t numRunning = 0;
    std::exception_ptr failure;
    bool finished = false;
};

} // namespace tessivar
