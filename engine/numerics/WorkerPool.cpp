#include "engine/numerics/WorkerPool.h"

#include <exception>

namespace tessivar
{

WorkerPool::WorkerPool (int numThreads)
{
    try
    {
        for (int worker = 1; worker < numThreads; ++worker)
            threads.emplace_back ([this, worker] { runThread (worker); });
    }
    catch (const std::exception&)
    {
        // As many as the system gives.
    }
}

WorkerPool::~WorkerPool()
{
    {
        const std::lock_guard lock (taskLock);
        finished = true;
    }

    taskStarted.notify_all();

    for (auto& thread : threads)
        thread.join();
}

void WorkerPool::onEachWorker (const std::function<void (int)>& work)
{
    {
        const std::lock_guard lock (taskLock);
        task = &work;
        failure = nullptr;
        numRunning = threads.size();
        ++taskNumber;
    }

    taskStarted.notify_all();
    runTask (0);

    std::unique_lock lock (taskLock);
    taskDone.wait (lock, [this] { return numRunning == 0; });
    task = nullptr;

    if (failure)
        std::rethrow_exception (failure);
}

void WorkerPool::forEach (std::size_t numItems, const std::function<void (std::size_t, int)>& work)
{
    std::atomic<std::size_t> nextItem{ 0 };

    onEachWorker (
        [&] (int worker)
        {
            try
            {
                for (auto item = nextItem++; item < numItems; item = nextItem++)
                    work (item, worker);
            }
            catch (...)
            {
                nextItem = numItems; // the others finish their item and stop
                throw;
            }
        });
}

void WorkerPool::runTask (int worker)
{
    try
    {
        (*task) (worker);
    }
    catch (...)
    {
        const std::lock_guard lock (taskLock);

        if (! failure)
            failure = std::current_exception();
    }
}

void WorkerPool::runThread (int worker)
{
    std::size_t lastTask = 0;

    for (;;)
    {
        {
            std::unique_lock lock (taskLock);
            taskStarted.wait (lock, [&] { return finished || taskNumber != lastTask; });

            if (finished)
                return;

            lastTask = taskNumber;
        }

        runTask (worker);

        const std::lock_guard lock (taskLock);

        if (--numRunning == 0)
            taskDone.notify_one();
    }
}

} // namespace tessivar
