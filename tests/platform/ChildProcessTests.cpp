#include "platform/Process.h"

#include <juce_core/juce_core.h>

#include <catch2/catch.hpp>

#include <atomic>
#include <iostream>

#if ! JUCE_WINDOWS
    #include <cerrno>

    #include <sys/syscall.h>
    #include <unistd.h>

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

TEST_CASE ("A child process leaves the files of other threads alone", "[child]")
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
#endif

TEST_CASE ("The output of a program", "[child]")
{
    const auto isPatient = []
    {
        juce::Thread::sleep (1);
        return true;
    };

    const auto self = tessivar::programFile().getFullPathName();
    const auto numbers =
        tessivar::outputOfProgram ({ self, "[.prints]" }, isPatient); // more than a pipe holds
    REQUIRE (numbers.has_value());
    CHECK (juce::String (*numbers).contains ("100000"));

    for (const auto* argument : { "a \"quoted\" \\\" end\\", "C:\\my takes\\", "100% & more", "tail\\\\" })
        CHECK (juce::String (
                   tessivar::outputOfProgram ({ self, "[.prints]", "-n", argument }, isPatient).value_or (""))
                   .contains ("<" + juce::String (argument) + ">"));

    CHECK_FALSE (tessivar::outputOfProgram ({ self, "[.fails]" }, isPatient));
    CHECK_FALSE (tessivar::outputOfProgram ({ "no program of this name" }, isPatient));

    const auto start = juce::Time::getMillisecondCounter();
    CHECK_FALSE (tessivar::outputOfProgram ({ self, "[.sleeps]" }, [] { return false; }));
    CHECK (juce::Time::getMillisecondCounter() - start < 5000);
}

// What the program is started with above.

TEST_CASE ("prints", "[.prints]")
{
    std::cout << '<' << Catch::getCurrentContext().getConfig()->name() << ">\n";

    for (int i = 1; i <= 100000; ++i)
        std::cout << i << '\n';
}

TEST_CASE ("fails", "[.fails]")
{
    FAIL();
}

TEST_CASE ("sleeps", "[.sleeps]")
{
    juce::Thread::sleep (20000);
}
