#include "model/RoomRelease.h"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tessivar::roomRelease
{

namespace
{
constexpr std::int64_t pieceBytes = std::int64_t{ 128 } << 20, smallBytes = std::int64_t{ 4 } << 20;

std::int64_t bytesOf (int descriptor, dev_t* fileSystem = nullptr)
{
    struct stat info = {};

    if (::fstat (descriptor, &info) != 0)
        return 0;

    if (fileSystem != nullptr)
        *fileSystem = info.st_dev;

    return std::int64_t{ info.st_blocks } * 512;
}

/** Cuts one piece off a file's end; false when nothing is left. */
bool cutPiece (int descriptor)
{
    struct stat info = {};

    if (::fstat (descriptor, &info) != 0 || info.st_size == 0)
        return false;

    int result = 0;

    do
        result =
            ::ftruncate (descriptor, std::max (std::int64_t{ info.st_size } - pieceBytes, std::int64_t{ 0 }));
    while (result != 0 && errno == EINTR);

    return result == 0;
}

class Releaser
{
public:
    /** Never destroyed: its thread may outlive main(). */
    static Releaser& instance()
    {
        static auto* const releaser = new Releaser;
        return *releaser;
    }

    void take (int descriptor)
    {
        const std::lock_guard guard (lock);
        queue.push_back (descriptor);

        if (! isRunning && ! isHandedOver)
        {
            isRunning = true;
            std::thread ([this] { run(); }).detach();
        }
    }

    std::uint64_t pendingBytes (dev_t fileSystem)
    {
        const std::lock_guard guard (lock);
        std::int64_t sum = 0;

        for (const auto descriptor : queue)
        {
            dev_t its = 0;
            const auto bytes = bytesOf (descriptor, &its);
            sum += its == fileSystem ? bytes : 0;
        }

        return static_cast<std::uint64_t> (sum);
    }

    bool finish()
    {
        std::unique_lock guard (lock);
        const auto wasRunning = isRunning;
        ended.wait (guard, [this] { return ! isRunning; });
        return wasRunning;
    }

    std::vector<int> stop()
    {
        std::unique_lock guard (lock);
        isHandedOver = true;
        ended.wait (guard, [this] { return ! isRunning; });
        return { queue.begin(), queue.end() };
    }

private:
    void run()
    {
        std::unique_lock guard (lock);

        while (! queue.empty() && ! isHandedOver)
        {
            // It stays in the queue meanwhile: what it still has counts as pending.
            const auto descriptor = queue.front();
            guard.unlock();
            const auto isLeft = cutPiece (descriptor);
            guard.lock();

            if (! isLeft)
            {
                queue.pop_front();
                ::close (descriptor);
            }
        }

        isRunning = false;
        ended.notify_all();
    }

    std::mutex lock; // guards all below
    std::condition_variable ended;
    std::deque<int> queue;
    bool isRunning = false, isHandedOver = false;
};

/** Closes all descriptors but these, which are ascending. Between fork() and exit: calls nothing that takes a lock. */
void closeAllBut (const std::vector<int>& kept)
{
    unsigned first = 0;

    for (const auto descriptor : kept)
    {
        const auto next = static_cast<unsigned> (descriptor);

        if (next > first)
            ::close_range (first, next - 1, 0);

        first = next + 1;
    }

    ::close_range (first, ~0u, 0);
}
} // namespace

void take (int descriptor)
{
    if (bytesOf (descriptor) < smallBytes)
        ::close (descriptor);
    else
        Releaser::instance().take (descriptor);
}

std::uint64_t pendingBytes (dev_t fileSystem)
{
    return Releaser::instance().pendingBytes (fileSystem);
}

bool finish()
{
    return Releaser::instance().finish();
}

void handOver()
{
    auto kept = Releaser::instance().stop();
    int ends[2]{};

    if (kept.empty() || ::pipe2 (ends, O_CLOEXEC) != 0)
        return;

    // The child has the files open when this process ends, and nothing else: no lock, no terminal, no pipe of a caller that
    // waits for its end. Its own end then frees them.
    kept.push_back (ends[0]);
    std::sort (kept.begin(), kept.end());

    if (::fork() == 0)
    {
        ::setsid();
        closeAllBut (kept);
        char byte = 0;

        while (::read (ends[0], &byte, 1) < 0 && errno == EINTR)
            ;

        ::_exit (0);
    }

    ::close (ends[0]); // the other end stays open as long as this process lives
}

} // namespace tessivar::roomRelease
