#include "platform/ChildProgram.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

namespace tessivar
{

std::optional<std::string> outputOfProgram (const juce::StringArray& arguments,
                                            const std::function<bool()>& keepWaiting)
{
    constexpr int exitMs = 2000; // from the end of its output to its own
    juce::ChildProcess process;

    if (! process.start (arguments, juce::ChildProcess::wantStdOut))
        return std::nullopt;

    // Read while it runs: whoever writes to a full pipe waits.
    std::string output;
    std::atomic<bool> isRead{ false };
    std::thread reader (
        [&]
        {
            std::array<char, 4096> piece{};

            for (int count = 1; count > 0;)
            {
                count = process.readProcessOutput (piece.data(), static_cast<int> (piece.size()));
                output.append (piece.data(), static_cast<std::size_t> (std::max (0, count)));
            }

            isRead = true;
        });

    auto isEnding = false;

    while (! isRead && ! isEnding)
        isEnding = ! keepWaiting();

    if (isEnding)
        process.kill();

    reader.join();
    process.waitForProcessToFinish (exitMs);
    return ! isEnding && process.getExitCode() == 0 ? std::make_optional (output) : std::nullopt;
}

} // namespace tessivar
