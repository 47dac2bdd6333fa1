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
        int inheritedDescriptor = -1; // stays open in the program
    };

    explicit ChildProgram (const Start& start);

    /** Ends the program by force when it still runs. */
    ~ChildProgram();

    [[nodiscard]] int pid() const { return process; }
    [[nodiscard]] bool isRunning();

    /** The exit code, or 256 plus the signal that ended the program; nothing if it still runs after this
        time.
    */
    [[nodiscard]] std::optional<int> waitForEnd (int timeoutMs);

    void signal (int signalNumber) const;

    /** Seconds of processor time it has used. */
    [[nodiscard]] double processorSeconds() const;

private:
    int process = -1;
    std::optional<int> end;

    JUCE_DECLARE_NON_COPYABLE (ChildProgram)
};

/** A program's path by its name, as the shell finds it; nothing when there is none. */
[[nodiscard]] std::optional<std::string> programInPath (const std::string& name);

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
