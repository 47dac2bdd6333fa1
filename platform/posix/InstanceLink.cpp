#include "platform/InstanceLinkServer.h"

#include "platform/DiskNames.h"
#include "platform/FileLock.h"
#include "platform/posix/SystemCall.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <list>
#include <string>
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
// A message ends with its stream.
using namespace instanceLink;

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

juce::File socketIn (const juce::File& folder)
{
    return folder.getChildFile ("window.socket");
}

class SocketServer final : public InstanceLink::Server, private juce::Thread
{
public:
    SocketServer (const juce::File& folder, InstanceLink::Receiver receiver)
        : Thread ("Instance link"), socketFile (socketIn (folder)), receive (std::move (receiver)),
          lock (FileLock::take (folder.getChildFile ("window.lock")))
    {
        sockaddr_un address;

        if (! lock || ! makeAddress (socketFile, address))
            return;

        // A socket whose owner died is in nobody's way.
        ::unlink (address.sun_path);
        listening = OpenFile (posix::handleOf (::socket (AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)));
        const auto oldMask = ::umask (0177);
        const auto isBound =
            listening.isOpen()
            && ::bind (descriptor(), reinterpret_cast<const sockaddr*> (&address), sizeof (address)) == 0;
        ::umask (oldMask);

        if (isBound && ::listen (descriptor(), 8) == 0 && ::pipe2 (wakeUp, O_CLOEXEC) == 0)
            startThread();
    }

    ~SocketServer() override
    {
        if (isListening())
        {
            signalThreadShouldExit();
            const char byte = 0;
            [[maybe_unused]] const auto written = ::write (wakeUp[1], &byte, 1);
            waitForThreadToExit (-1);
            ::close (wakeUp[0]);
            ::close (wakeUp[1]);
        }

        if (listening.isOpen())
            ::unlink (bytesOfPath (socketFile).c_str());
    }

    [[nodiscard]] bool isListening() const { return wakeUp[1] >= 0; }

private:
    struct Client
    {
        explicit Client (int connectionToOwn) : connection (posix::handleOf (connectionToOwn)) {}

        [[nodiscard]] int descriptor() const { return posix::descriptorOf (connection.handle()); }

        const OpenFile connection;
        const Clock::time_point deadline = Clock::now() + serveTime;
        std::string message;
    };

    void run() override
    {
        std::list<Client> clients; // the oldest first
        std::vector<pollfd> entries;

        while (! threadShouldExit())
        {
            entries = { pollfd{ wakeUp[0], POLLIN, 0 }, pollfd{ descriptor(), POLLIN, 0 } };

            for (const auto& client : clients)
                entries.push_back ({ client.descriptor(), POLLIN, 0 });

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

            if (const auto connection =
                    ::accept4 (descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
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
    [[nodiscard]] bool serve (Client& client) const
    {
        std::array<char, 4096> piece;
        const auto count = ::recv (client.descriptor(), piece.data(), piece.size(), 0);

        if (count < 0)
            return errno != EAGAIN && errno != EINTR;

        if (count > 0)
        {
            client.message.append (piece.data(), static_cast<std::size_t> (count));
            return client.message.size() > maxMessageBytes;
        }

        if (isMessage (client.message))
        {
            receive (pathsIn (client.message));
            ::send (client.descriptor(), &accepted, 1, MSG_NOSIGNAL);
        }

        return true;
    }

    [[nodiscard]] int descriptor() const { return posix::descriptorOf (listening.handle()); }

    const juce::File socketFile;
    const InstanceLink::Receiver receive;
    const std::optional<FileLock> lock; // whoever holds it owns the socket's name
    OpenFile listening;
    int wakeUp[2] = { -1, -1 }; // a pipe that ends the wait for connections
};

} // namespace

std::unique_ptr<InstanceLink::Server> InstanceLink::Server::start (const juce::File& folder,
                                                                   const Receiver& receiver)
{
    auto server = std::make_unique<SocketServer> (folder, receiver);

    if (! server->isListening())
        server.reset();

    return server;
}

bool InstanceLink::handOver (const juce::StringArray& paths, int timeoutMs) const
{
    const auto deadline = Clock::now() + std::chrono::milliseconds (timeoutMs);
    sockaddr_un address;
    const OpenFile opened (
        posix::handleOf (::socket (AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)));
    const auto connection = posix::descriptorOf (opened.handle());

    if (! opened.isOpen() || ! makeAddress (socketIn (folder), address)
        || ! connectTo (connection, address, deadline))
        return false;

    const auto message = messageOf (paths);
    char answer = 0;
    return message.size() <= maxMessageBytes && sendAll (connection, message, deadline)
           && waitFor (connection, POLLIN, deadline) && ::recv (connection, &answer, 1, 0) == 1
           && answer == accepted;
}

} // namespace tessivar
