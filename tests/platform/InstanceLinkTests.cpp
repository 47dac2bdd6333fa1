#include "platform/DiskNames.h"
#include "platform/InstanceLink.h"
#include "tests/support/TemporaryFolder.h"

#include <catch2/catch.hpp>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#if ! JUCE_WINDOWS
    #include <sys/socket.h>
    #include <sys/stat.h>
    #include <sys/un.h>
    #include <unistd.h>
#endif

using namespace tessivar;

namespace
{
#if ! JUCE_WINDOWS
/** A client of the window's socket that does not keep to the rules: it sends some bytes and waits. */
class RawClient
{
public:
    RawClient (const juce::File& folder, const std::string& bytes) : connection (makeSocket())
    {
        const auto address = addressIn (folder);
        (void) ::connect (connection, reinterpret_cast<const sockaddr*> (&address), sizeof (address));
        (void) ::send (connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }

    ~RawClient() { ::close (connection); }

    /** A socket that holds one connection and accepts none. */
    static int listenWithoutAnswer (const juce::File& folder)
    {
        const auto listening = makeSocket();
        const auto address = addressIn (folder);
        REQUIRE (::bind (listening, reinterpret_cast<const sockaddr*> (&address), sizeof (address)) == 0);
        REQUIRE (::listen (listening, 0) == 0);
        return listening;
    }

    RawClient (const RawClient&) = delete;
    RawClient& operator= (const RawClient&) = delete;

private:
    static int makeSocket() { return ::socket (AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }

    static sockaddr_un addressIn (const juce::File& folder)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        folder.getChildFile ("window.socket")
            .getFullPathName()
            .copyToUTF8 (address.sun_path, sizeof (address.sun_path));
        return address;
    }

    const int connection;
};
#endif
} // namespace

TEST_CASE ("InstanceLink", "[instance]")
{
    const test::TemporaryFolder owner;
    const auto folder = juce::File (juce::String (owner.name()));
    std::mutex lock;
    std::vector<juce::StringArray> received;
    const auto receive = [&] (const juce::StringArray& paths)
    {
        const std::lock_guard guard (lock);
        received.push_back (paths);
    };

    SECTION ("hands files over, odd names and all, to the one that listens first")
    {
        InstanceLink first (folder), second (folder);
        CHECK_FALSE (second.handOver ({ "/takes/a.dls" }));
        REQUIRE (first.listen (receive));
        CHECK_FALSE (second.listen (receive));

        const juce::StringArray paths{ juce::String::fromUTF8 ("/t/Tr\xc3\xb6mmel \"1\":2.dls"),
                                       "/t/two\nlines.wav",
                                       pathOfBytes ("/t/Caf\xe9") };
        CHECK (second.handOver (paths));
        CHECK (second.handOver ({}));
        const std::lock_guard guard (lock);
        REQUIRE (received.size() == 2);
        CHECK (received[0] == paths);
        CHECK (received[1].isEmpty());
    }

#if ! JUCE_WINDOWS
    SECTION ("listens where nobody else of the system can write, and again after one that has gone")
    {
        {
            InstanceLink first (folder);
            REQUIRE (first.listen (receive));
            struct stat info = {};
            REQUIRE (::stat (folder.getChildFile ("window.socket").getFullPathName().toRawUTF8(), &info)
                     == 0);
            CHECK ((info.st_mode & 0777) == 0600);
        }

        folder.getChildFile ("window.socket").replaceWithText ("left behind");
        InstanceLink next (folder);
        CHECK_FALSE (next.handOver ({}));
        CHECK (next.listen (receive));
    }
#endif

#if ! JUCE_WINDOWS
    SECTION ("serves the next start at once, whatever other clients do")
    {
        InstanceLink first (folder), second (folder);
        REQUIRE (first.listen (receive));
        std::vector<std::unique_ptr<RawClient>> clients;

        for (int i = 0; i < 40; ++i) // more than it serves at once: they say nothing, or begin and don't end
            clients.push_back (std::make_unique<RawClient> (folder, i % 2 == 0 ? "" : "/takes/half"));

        const std::string tooLong (2 << 20, 'x');
        const RawClient flood (folder, tooLong);

        const auto begun = std::chrono::steady_clock::now();
        CHECK (second.handOver ({ "/takes/a.dls" }));
        CHECK (std::chrono::steady_clock::now() - begun < std::chrono::milliseconds (700));
        const std::lock_guard guard (lock);
        REQUIRE (received.size() == 1);
        CHECK (received[0] == juce::StringArray{ "/takes/a.dls" });
    }
#endif

#if ! JUCE_WINDOWS
    SECTION ("gives up after its time where nobody answers")
    {
        const auto listening = RawClient::listenWithoutAnswer (folder);
        const InstanceLink second (folder);
        std::vector<std::unique_ptr<RawClient>> clients;

        for (int i = 0; i < 3; ++i)
        {
            const auto begun = std::chrono::steady_clock::now();
            CHECK_FALSE (second.handOver ({ "/takes/a.dls" }, 300));
            CHECK (std::chrono::steady_clock::now() - begun < std::chrono::milliseconds (1000));
            clients.push_back (
                std::make_unique<RawClient> (folder, "")); // until there is no room for another
        }

        ::close (listening);
    }
#endif
}
