#include "app/InstanceLink.h"

#include "model/DiskNames.h"

#include <array>
#include <cstring>
#include <utility>

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
// A message is the paths, each ended by a zero byte, and an end of the stream; the answer is one byte.
constexpr std::size_t maxMessageBytes = 1 << 20;
constexpr int serveTimeoutMs = 1000;
constexpr char accepted = 1;

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
bool waitFor (int descriptor, short events, int timeoutMs)
{
    pollfd entry{ descriptor, events, 0 };
    return ::poll (&entry, 1, timeoutMs) == 1 && (entry.revents & (events | POLLHUP)) != 0;
}

bool sendAll (int connection, const std::string& message, int timeoutMs)
{
    std::size_t sent = 0;

    while (sent < message.size())
    {
        if (! waitFor (connection, POLLOUT, timeoutMs))
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
    sockaddr_un address;
    const Descriptor connection (::socket (AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));

    if (connection.value < 0 || ! makeAddress (socketFile, address)
        || ::connect (connection.value, reinterpret_cast<const sockaddr*> (&address), sizeof (address)) != 0)
        return false;

    std::string message;

    for (const auto& path : paths)
        message.append (bytesOfPath (path)).push_back ('\0');

    char answer = 0;
    return message.size() <= maxMessageBytes && sendAll (connection.value, message, timeoutMs)
           && waitFor (connection.value, POLLIN, timeoutMs) && ::recv (connection.value, &answer, 1, 0) == 1
           && answer == accepted;
}

bool InstanceLink::listen (Receiver receiver)
{
    sockaddr_un address;

    if (socketFile.getParentDirectory().createDirectory().failed() || ! makeAddress (socketFile, address))
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
    while (! threadShouldExit())
    {
        std::array<pollfd, 2> entries{ pollfd{ listening, POLLIN, 0 }, pollfd{ wakeUp[0], POLLIN, 0 } };

        if (::poll (entries.data(), entries.size(), -1) <= 0 || (entries[0].revents & POLLIN) == 0)
            continue;

        const Descriptor connection (::accept4 (listening, nullptr, nullptr, SOCK_CLOEXEC));

        if (connection.value >= 0)
            serve (connection.value);
    }
}

void InstanceLink::serve (int connection)
{
    std::string message;
    std::array<char, 4096> piece{};

    for (;;)
    {
        if (! waitFor (connection, POLLIN, serveTimeoutMs))
            return;

        const auto count = ::recv (connection, piece.data(), piece.size(), 0);

        if (count < 0 || message.size() + piece.size() > maxMessageBytes)
            return;

        if (count == 0)
            break;

        message.append (piece.data(), static_cast<std::size_t> (count));
    }

    juce::StringArray paths;

    for (std::size_t start = 0; start < message.size();)
    {
        const auto end = message.find ('\0', start);

        if (end == std::string::npos)
            return;

        paths.add (pathOfBytes ({ message.data() + start, end - start }));
        start = end + 1;
    }

    receive (paths);
    ::send (connection, &accepted, 1, MSG_NOSIGNAL);
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
