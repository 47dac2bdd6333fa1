#include "platform/RoomRelease.h"

#include "platform/FileStatus.h"
#include "platform/posix/SystemCall.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace tessivar::roomRelease
{

namespace
{
constexpr std::uint64_t pieceBytes = 128u << 20, smallBytes = 4u << 20;

/** Cuts one piece off a file's end; false when nothing is left. */
bool cutPiece (int descriptor)
{
    const auto status = statusOf (posix::handleOf (descriptor));

    if (! status || status->size == 0)
        return false;

    const auto left = status->size - std::min (status->size, pieceBytes);
    return posix::untilDone ([&] { return ::ftruncate (descriptor, static_cast<off_t> (left)); }) == 0;
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

    std::uint64_t pendingBytes (std::uint64_t volume)
    {
        const std::lock_guard guard (lock);
        std::uint64_t sum = 0;

        for (const auto descriptor : queue)
            if (const auto status = statusOf (posix::handleOf (descriptor));
                status && status->id.volume == volume)
                sum += status->bytesOnDisk;

        return sum;
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

/** Closes all descriptors but these, which are ascending. Between fork() and exit: calls nothing that takes a
    lock.
*/
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

void take (FileHandle handle)
{
    const auto descriptor = posix::descriptorOf (handle);

    if (const auto status = statusOf (handle); ! status || status->bytesOnDisk < smallBytes)
        ::close (descriptor);
    else
        Releaser::instance().take (descriptor);
}

std::uint64_t pendingBytes (std::uint64_t volume)
{
    return Releaser::instance().pendingBytes (volume);
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

    // The child has the files open when this process ends, and nothing else: no lock, no terminal, no pipe of
    // a caller that waits for its end. Its own end then frees them.
    kept.push_back (ends[0]);
    std::sort (kept.begin(), kept.end());

    if (::fork() == 0)
    {
        ::setsid();
        closeAllBut (kept);
        char byte = 0;

        posix::untilDone ([&] { return ::read (ends[0], &byte, 1); });
        ::_exit (0);
    }

    ::close (ends[0]); // the other end stays open as long as this process lives
}

} // namespace tessivar::roomRelease
