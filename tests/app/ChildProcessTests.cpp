#include <juce_core/juce_core.h>

#include <catch2/catch.hpp>

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace
{
std::atomic<int> closedInVain{ 0 };
}

/** Replaces the C library's in this program: counts closes of descriptors that aren't open. */
extern "C" int close (int descriptor)
{
    const auto result = static_cast<int> (::syscall (SYS_close, descriptor));

    if (result != 0 && errno == EBADF)
        ++closedInVain;

    return result;
}

TEST_CASE ("A child process leaves the files of other threads alone", "[app]")
{
    // Whoever closes a descriptor twice closes, the second time, what another thread has opened in between.
    const auto before = closedInVain.load();
    const auto wasLowest = ::dup (0);
    ::close (wasLowest);

    {
        juce::ChildProcess process;
        REQUIRE (process.start (juce::StringArray{ "echo", "said" }, juce::ChildProcess::wantStdOut));
        REQUIRE (process.readAllProcessOutput() == "said\n");
    }

    {
        juce::ChildProcess unread;
        REQUIRE (unread.start (juce::StringArray{ "echo", "said" }, juce::ChildProcess::wantStdOut));
        REQUIRE (unread.waitForProcessToFinish (5000));
    }

    REQUIRE (closedInVain == before);

    // And keeps none open.
    const auto isLowest = ::dup (0);
    ::close (isLowest);
    REQUIRE (isLowest == wasLowest);
}
