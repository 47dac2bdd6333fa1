#include "app/InstanceLink.h"

#include "model/DiskNames.h"
#include "model/FileLock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <list>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace tessivar
{

namespace
{
using Clock = std::chrono::steady_clock;

// A message is the paths, each ended by a zero byte, and an end of the stream; the answer is one byte.
constexpr std::size_t maxMessageBytes = 1 << 20;
constexpr char accepted = 1;

// Of one client, from its first byte to its last; shorter than a second start waits, so that nobody is served who has
// given up. Clients beyond their number cost the oldest one its place.
constexpr std::chrono::milliseconds serveTime{ 800 };
constexpr std::size_t maxClients = 16;

bool makeAddress (const juce::File& file, sockaddr_un& address)
{
    const auto path = bytesOfPath (file);
    address = {};
    address.sun_family = AF_UNIX;

    if (path.size() >= sizeof (address.sun_path))
        return false;

    std::memcpy (address.sun_path, path.data(), path.size());
    return true;
}

int millisecondsUntil (Clock::time_point time)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds> (time - Clock::now()).count();
    return static_cast<int> (std::max<std::int64_t> (0, left));
}

/** Waits until the descriptor can be read, or written. */
bool waitFor (int descriptor, short events, Clock::time_point deadline)
{
    pollfd entry{ descriptor, events, 0 };
    return ::poll (&entry, 1, millisecondsUntil (deadline)) == 1 && (entry.revents & (events | POLLHUP)) != 0;
}

/** While the other side has no room for one more connection this fails at once, and is tried again. */
bool connectTo (int connection, const sockaddr_un& address, Clock::time_point deadline)
{
    while (::connect (connection, reinterpret_cast<const sockaddr*> (&address), sizeof (address)) != 0)
    {
        if (errno != EAGAIN || Clock::now() >= deadline)
            return false;

        juce::Thread::sleep (10);
    }

    return true;
}

bool sendAll (int connection, const std::string& message, Clock::time_point deadline)
{
    for (std::size_t sent = 0; sent < message.size();)
    {
        if (Clock::now() >= deadline || ! waitFor (connection, POLLOUT, deadline))
            return false;

        const auto count = ::send (connection, message.data() + sent, message.size() - sent, MSG_NOSIGNAL);

        if (count <= 0)
            return false;

        sent += static_cast<std::size_t> (count);
    }

    return ::shutdown (connection, SHUT_WR) == 0;
}

struct Descriptor
{
    explicit Descriptor (int descriptorToOwn) : value (descriptorToOwn) {}

    ~Descriptor()
    {
        if (value >= 0)
            ::close (value);
    }

    const int value;
    JUCE_DECLARE_NON_COPYABLE (Descriptor)
};
} // namespace

struct InstanceLink::Client
{
    explicit Client (int connectionToOwn) : connection (connectionToOwn) {}

    const Descriptor connection;
    const Clock::time_point deadline = Clock::now() + serveTime;
    std::string message;
};

InstanceLink::InstanceLink (const juce::File& folder)
    : juce::Thread ("Instance link"), socketFile (folder.getChildFile ("window.socket")),
      lockFile (folder.getChildFile ("window.lock"))
{
}

InstanceLink::~InstanceLink()
{
    if (isThreadRunning())
    {
        signalThreadShouldExit();
        const char byte = 0;
        [[maybe_unused]] const auto written = ::write (wakeUp[1], &byte, 1);
        waitForThreadToExit (-1);
    }

    close();
}

bool InstanceLink::handOver (const juce::StringArray& paths, int timeoutMs) const
{
    const auto deadline = Clock::now() + std::chrono::milliseconds (timeoutMs);
    sockaddr_un address;
    const Descriptor connection (::socket (AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));

    if (connection.value < 0 || ! makeAddress (socketFile, address)
        || ! connectTo (connection.value, address, deadline))
        return false;

    std::string message;

    for (const auto& path : paths)
        message.append (bytesOfPath (path)).push_back ('\0');

    char answer = 0;
    return message.size() <= maxMessageBytes && sendAll (connection.value, message, deadline)
           && waitFor (connection.value, POLLIN, deadline) && ::recv (connection.value, &answer, 1, 0) == 1
           && answer == accepted;
}

bool InstanceLink::listen (Receiver receiver)
{
    sockaddr_un address;

    if (makeFolder (socketFile.getParentDirectory()).failed() || ! makeAddress (socketFile, address))
        return false;

    ::chmod (bytesOfPath (socketFile.getParentDirectory()).c_str(), 0700);

    lock = FileLock::take (lockFile);

    if (! lock)
        return false;

    // A socket whose owner died is in nobody's way.
    ::unlink (address.sun_path);
    listening = ::socket (AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto oldMask = ::umask (0177);
    const auto bound =
        listening >= 0
        && ::bind (listening, reinterpret_cast<const sockaddr*> (&address), sizeof (address)) == 0;
    ::umask (oldMask);

    if (! bound || ::listen (listening, 8) != 0 || ::pipe2 (wakeUp, O_CLOEXEC) != 0)
    {
        close();
        return false;
    }

    receive = std::move (receiver);
    startThread();
    return true;
}

void InstanceLink::run()
{
    std::list<Client> clients; // the oldest first
    std::vector<pollfd> entries;

    while (! threadShouldExit())
    {
        entries = { pollfd{ wakeUp[0], POLLIN, 0 }, pollfd{ listening, POLLIN, 0 } };

        for (const auto& client : clients)
            entries.push_back ({ client.connection.value, POLLIN, 0 });

        if (::poll (entries.data(),
                    entries.size(),
                    clients.empty() ? -1 : millisecondsUntil (clients.front().deadline))
            < 0)
            continue;

        auto entry = entries.begin() + 2;

        for (auto client = clients.begin(); client != clients.end(); ++entry)
        {
            // Both ends closed: it has given up, and opens its files in a window of its own.
            const auto isGone = (entry->revents & POLLHUP) != 0 || Clock::now() >= client->deadline;
            const auto isDone = isGone || ((entry->revents & POLLIN) != 0 && serve (*client));
            client = isDone ? clients.erase (client) : std::next (client);
        }

        if ((entries[1].revents & POLLIN) == 0)
            continue;

        if (const auto connection = ::accept4 (listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            connection >= 0)
        {
            if (clients.size() == maxClients)
                clients.pop_front();

            clients.emplace_back (connection);
        }
        else
            sleep (10); // out of descriptors, for now
    }
}

/** Takes what has come from a client; true when it is done with, well or badly. */
bool InstanceLink::serve (Client& client) const
{
    std::array<char, 4096> piece;
    const auto count = ::recv (client.connection.value, piece.data(), piece.size(), 0);

    if (count < 0)
        return errno != EAGAIN && errno != EINTR;

    if (count > 0)
    {
        client.message.append (piece.data(), static_cast<std::size_t> (count));
        return client.message.size() > maxMessageBytes;
    }

    if (client.message.empty() || client.message.back() == '\0')
    {
        deliver (client.message);
        ::send (client.connection.value, &accepted, 1, MSG_NOSIGNAL);
    }

    return true;
}

void InstanceLink::deliver (const std::string& message) const
{
    juce::StringArray paths;

    for (std::size_t start = 0; start < message.size();)
    {
        const auto end = message.find ('\0', start);

        paths.add (pathOfBytes ({ message.data() + start, end - start }));
        start = end + 1;
    }

    receive (paths);
}

void InstanceLink::close()
{
    if (listening >= 0)
        ::unlink (bytesOfPath (socketFile).c_str());

    for (auto* descriptor : { &listening, &wakeUp[0], &wakeUp[1] })
        if (*descriptor >= 0)
            ::close (std::exchange (*descriptor, -1));

    lock.reset();
}

} // namespace tessivar
