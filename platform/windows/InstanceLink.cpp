#include "platform/InstanceLinkServer.h"

#include "platform/DiskNames.h"
#include "platform/FileLock.h"
#include "platform/windows/Access.h"
#include "platform/windows/SystemCall.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tessivar
{

using windows::OwnedHandle;

namespace
{
// A message is its number of bytes, 32 bits, and the paths.
using namespace instanceLink;

constexpr std::size_t numberBytes = 4;

/** One for each folder: pipes have names of their own, which know no folders. */
std::wstring pipeNameOf (const juce::File& folder)
{
    const auto key = folder.getFullPathName().toLowerCase().hashCode64();
    return windows::wideText (R"(\\.\pipe\Tessivar-)" + juce::String::toHexString (key));
}

/** One reading, writing or waiting for a client that goes on while this process does something else. */
class Operation
{
public:
    [[nodiscard]] HANDLE done() const { return event.get(); }

    /** Begins one; call is given what the system wants. False when it failed at once. */
    template <typename Call>
    bool begin (Call&& call)
    {
        state = {};
        state.hEvent = event.get();

        if (call (&state))
            return true; // the event says so

        const auto error = ::GetLastError();

        if (error == ERROR_PIPE_CONNECTED)
            ::SetEvent (event.get());

        return error == ERROR_IO_PENDING || error == ERROR_PIPE_CONNECTED;
    }

    /** Of one that is done; nothing when it failed. */
    [[nodiscard]] std::optional<DWORD> result (HANDLE pipe)
    {
        DWORD count = 0;
        const auto succeeded = ::GetOverlappedResult (pipe, &state, &count, FALSE);
        return succeeded ? std::make_optional (count) : std::nullopt;
    }

    /** Waits for its end, and cancels it when that does not come in time. */
    [[nodiscard]] std::optional<DWORD> wait (HANDLE pipe, Clock::time_point deadline)
    {
        if (::WaitForSingleObject (event.get(), static_cast<DWORD> (millisecondsUntil (deadline)))
            == WAIT_OBJECT_0)
            return result (pipe);

        cancel (pipe);
        return std::nullopt;
    }

    /** Afterwards the system no longer touches what it was given. */
    void cancel (HANDLE pipe)
    {
        DWORD ignored = 0;

        if (::CancelIoEx (pipe, &state))
            ::GetOverlappedResult (pipe, &state, &ignored, TRUE);
    }

private:
    const OwnedHandle event{ ::CreateEventW (nullptr, TRUE, FALSE, nullptr) };
    OVERLAPPED state = {};
};

bool sendAll (HANDLE pipe, const std::string& message, Clock::time_point deadline)
{
    Operation writing;

    for (std::size_t sent = 0; sent < message.size();)
    {
        const auto count = static_cast<DWORD> (message.size() - sent);
        const auto isBegun = writing.begin (
            [&] (OVERLAPPED* state) { return ::WriteFile (pipe, &message[sent], count, nullptr, state); });
        const auto written = isBegun ? writing.wait (pipe, deadline) : std::nullopt;

        if (! written || *written == 0)
            return false;

        sent += *written;
    }

    return true;
}

class PipeServer final : public InstanceLink::Server, private juce::Thread
{
public:
    PipeServer (const juce::File& folder, InstanceLink::Receiver receiver)
        : Thread ("Instance link"), name (pipeNameOf (folder)), receive (std::move (receiver)),
          lock (FileLock::take (folder.getChildFile ("window.lock")))
    {
        // The first one fails where somebody else has that name.
        while (lock && places.size() < maxClients && addPlace())
            places.back()->await();

        if (isListening())
            startThread();
    }

    ~PipeServer() override
    {
        signalThreadShouldExit();
        ::SetEvent (wakeUp.get());
        waitForThreadToExit (-1);
    }

    [[nodiscard]] bool isListening() const { return places.size() == maxClients; }

private:
    /** One end of the pipe, which one client after the other has. */
    struct Place
    {
        explicit Place (HANDLE pipeToOwn) : pipe (pipeToOwn) {}
        ~Place() { operation.cancel (pipe.get()); }

        /** Lets go of its client, if there is one, and waits for the next. */
        void await()
        {
            operation.cancel (pipe.get());
            hasClient = false;
            message.clear();
            auto isWaiting = false;

            // One that came and went in between makes it fail.
            for (int attempt = 0; attempt < 10 && ! isWaiting; ++attempt)
            {
                ::DisconnectNamedPipe (pipe.get());
                isWaiting = operation.begin ([&] (OVERLAPPED* state)
                                             { return ::ConnectNamedPipe (pipe.get(), state); });
            }
        }

        [[nodiscard]] bool readMore()
        {
            return operation.begin (
                [&] (OVERLAPPED* state) {
                    return ::ReadFile (
                        pipe.get(), piece.data(), static_cast<DWORD> (piece.size()), nullptr, state);
                });
        }

        const OwnedHandle pipe;
        Operation operation; // waits for a client, or for what it says
        bool hasClient = false;
        Clock::time_point deadline;
        std::array<char, 4096> piece{};
        std::string message;
    };

    bool addPlace()
    {
        const DWORD first = places.empty() ? FILE_FLAG_FIRST_PIPE_INSTANCE : 0;
        auto* const pipe = ::CreateNamedPipeW (name.c_str(),
                                               PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | first,
                                               PIPE_TYPE_BYTE | PIPE_REJECT_REMOTE_CLIENTS,
                                               maxClients,
                                               4096,
                                               4096,
                                               0,
                                               windows::forTheUserAlone());

        if (pipe == INVALID_HANDLE_VALUE)
            return false;

        places.push_back (std::make_unique<Place> (pipe));
        return true;
    }

    void run() override
    {
        std::vector<HANDLE> events{ wakeUp.get() };

        for (const auto& place : places)
            events.push_back (place->operation.done());

        while (! threadShouldExit())
        {
            DWORD wait = INFINITE;

            for (const auto& place : places)
                if (place->hasClient)
                    wait = std::min (wait, static_cast<DWORD> (millisecondsUntil (place->deadline)));

            ::WaitForMultipleObjects (static_cast<DWORD> (events.size()), events.data(), FALSE, wait);

            for (const auto& place : places)
            {
                const auto hasNews = ::WaitForSingleObject (place->operation.done(), 0) == WAIT_OBJECT_0;

                if ((hasNews && ! serve (*place)) || (place->hasClient && Clock::now() >= place->deadline))
                    place->await();
            }

            keepOneFree();
        }
    }

    /** Goes on with a client that has come or said something; false when it is done with, well or badly. */
    [[nodiscard]] bool serve (Place& place) const
    {
        const auto count = place.operation.result (place.pipe.get());

        if (! count)
            return false;

        if (! place.hasClient)
        {
            place.hasClient = true;
            place.deadline = Clock::now() + serveTime;
            return place.readMore();
        }

        place.message.append (place.piece.data(), *count);
        const auto& message = place.message;

        if (message.size() < numberBytes)
            return place.readMore();

        std::uint32_t size = 0;
        std::memcpy (&size, message.data(), numberBytes);

        if (size > maxMessageBytes || message.size() > numberBytes + size)
            return false;

        if (message.size() < numberBytes + size)
            return place.readMore();

        const auto paths = std::string_view (message).substr (numberBytes);

        if (isMessage (paths))
        {
            receive (pathsIn (paths));
            answer (place.pipe.get());
        }

        return false;
    }

    /** What a pipe holds goes when it is disconnected: that waits until the client has it. */
    static void answer (HANDLE pipe)
    {
        const auto deadline = Clock::now() + std::chrono::milliseconds (200);
        Operation reading;
        char nothing = 0;

        if (sendAll (pipe, std::string (1, accepted), deadline)
            && reading.begin ([&] (OVERLAPPED* state)
                              { return ::ReadFile (pipe, &nothing, 1, nullptr, state); }))
            juce::ignoreUnused (reading.wait (pipe, deadline));
    }

    void keepOneFree()
    {
        Place* oldest = nullptr;

        for (const auto& place : places)
        {
            if (! place->hasClient)
                return;

            if (oldest == nullptr || place->deadline < oldest->deadline)
                oldest = place.get();
        }

        oldest->await();
    }

    const std::wstring name;
    const InstanceLink::Receiver receive;
    const std::optional<FileLock> lock; // whoever holds it owns the pipe's name
    const OwnedHandle wakeUp{ ::CreateEventW (nullptr, TRUE, FALSE, nullptr) };
    std::vector<std::unique_ptr<Place>> places;
};

} // namespace

std::unique_ptr<InstanceLink::Server> InstanceLink::Server::start (const juce::File& folder,
                                                                   const Receiver& receiver)
{
    auto server = std::make_unique<PipeServer> (folder, receiver);

    if (! server->isListening())
        server.reset();

    return server;
}

bool InstanceLink::handOver (const juce::StringArray& paths, int timeoutMs) const
{
    const auto deadline = Clock::now() + std::chrono::milliseconds (timeoutMs);
    const auto name = pipeNameOf (folder);
    OwnedHandle opened;

    // While all places are taken it fails at once, and is tried again.
    for (;;)
    {
        opened = OwnedHandle (
            ::CreateFileW (name.c_str(),
                           GENERIC_READ | GENERIC_WRITE,
                           0,
                           nullptr,
                           OPEN_EXISTING,
                           FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
                           nullptr));

        if (opened)
            break;

        if (::GetLastError() != ERROR_PIPE_BUSY || Clock::now() >= deadline)
            return false;

        juce::Thread::sleep (5);
    }

    // Anybody can have made a pipe of that name.
    if (! windows::isPipeOfUser (opened.get()))
        return false;

    // The window that is up may come to the front in place of this one's.
    if (ULONG process = 0; ::GetNamedPipeServerProcessId (opened.get(), &process))
        ::AllowSetForegroundWindow (process);

    const auto message = messageOf (paths);
    const auto size = static_cast<std::uint32_t> (message.size());
    const std::string number (reinterpret_cast<const char*> (&size), numberBytes);

    if (message.size() > maxMessageBytes || ! sendAll (opened.get(), number + message, deadline))
        return false;

    Operation reading;
    char answer = 0;
    const auto isBegun = reading.begin ([&] (OVERLAPPED* state)
                                        { return ::ReadFile (opened.get(), &answer, 1, nullptr, state); });
    return isBegun && reading.wait (opened.get(), deadline) == DWORD{ 1 } && answer == accepted;
}

} // namespace tessivar
