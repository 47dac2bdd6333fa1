#pragma once

#include <juce_core/juce_core.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tessivar::test
{

/** A program that was started beside the test, with an environment of its own; it never outlives the test. */
class ChildProgram
{
public:
    struct Start
    {
        std::string program; // a path
        std::vector<std::string> arguments;
        std::map<std::string, std::string> environment; // changes; an empty value removes the variable
        std::string outputFile;                         // standard output and error; empty: nowhere
        std::string errorFile = {};                     // standard error, when it is not with the output
        std::string workingFolder = "/";
#if ! JUCE_WINDOWS
        int inheritedDescriptor = -1; // stays open in the program
#endif
    };

    explicit ChildProgram (const Start& start);

    /** Ends the program by force when it still runs. */
    ~ChildProgram();

    [[nodiscard]] bool isRunning();

    /** The exit code, or 256 plus the signal that ended the program (256 on Windows, where it crashed);
        nothing if it still runs after this time.
    */
    [[nodiscard]] std::optional<int> waitForEnd (int timeoutMs);

    /** What Ctrl+C in its terminal does. */
    void interrupt() const;

#if ! JUCE_WINDOWS
    void signal (int signalNumber) const;

    [[nodiscard]] int pid() const
    {
        return process;
    }

    /** Seconds of processor time it has used. */
    [[nodiscard]] double processorSeconds() const;
#endif

private:
#if JUCE_WINDOWS
    void* process = nullptr; // its handle
#else
    int process = -1;
#endif
    std::optional<int> end;

    JUCE_DECLARE_NON_COPYABLE (ChildProgram)
};

/** Asks every few milliseconds until the answer is yes; no after this time. */
template <typename Condition>
[[nodiscard]] bool waitUntil (Condition&& condition, int timeoutMs = 20000)
{
    const auto end = juce::Time::getMillisecondCounterHiRes() + timeoutMs;

    while (! condition())
    {
        if (juce::Time::getMillisecondCounterHiRes() > end)
            return condition();

        juce::Thread::sleep (10);
    }

    return true;
}

} // namespace tessivar::test
