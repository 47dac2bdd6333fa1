#include "platform/Process.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <thread>

namespace tessivar
{

namespace
{
constexpr int numRandomDigits = 8;
}

juce::String uniqueTag()
{
    const auto random = juce::String::toHexString (juce::Random::getSystemRandom().nextInt());
    return juce::String (processId()) + "-" + random.paddedLeft ('0', numRandomDigits);
}

bool isUniqueTag (const juce::String& text)
{
    const auto process = text.upToFirstOccurrenceOf ("-", false, false);
    const auto random = text.fromFirstOccurrenceOf ("-", false, false);
    return process.isNotEmpty() && process.length() <= 9 && process.containsOnly ("0123456789")
           && random.length() == numRandomDigits && random.containsOnly ("0123456789abcdef");
}

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
