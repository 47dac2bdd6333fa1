#include "platform/Process.h"

#include "platform/ProcessOutput.h"

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

std::optional<std::string> readToEnd (const std::function<std::size_t (std::span<char>)>& read,
                                      const std::function<void()>& end,
                                      const std::function<bool()>& keepWaiting)
{
    std::string output;
    std::atomic<bool> isRead{ false };
    std::thread reader (
        [&]
        {
            std::array<char, 4096> piece{};

            for (auto count = read (piece); count > 0; count = read (piece))
                output.append (piece.data(), count);

            isRead = true;
        });

    auto isEnding = false;

    while (! isRead && ! isEnding)
        isEnding = ! keepWaiting();

    if (isEnding)
        end();

    reader.join();
    return isEnding ? std::nullopt : std::make_optional (output);
}

juce::StringArray listeningSocketsIn (const juce::String& table)
{
    // Columns: number, references, protocol, flags, type, state, inode, path.
    constexpr int flagsColumn = 3, pathColumn = 7;
    constexpr int listens = 0x10000;
    juce::StringArray names;

    for (const auto& line : juce::StringArray::fromLines (table))
    {
        auto columns = juce::StringArray::fromTokens (line, " ", {});
        columns.removeEmptyStrings();

        if (columns.size() > pathColumn && (columns[flagsColumn].getHexValue32() & listens) != 0)
            names.add (columns[pathColumn]);
    }

    return names;
}

juce::File fileOfArgument (const juce::String& argument)
{
    const auto isWhole = argument.startsWithChar ('/')
                         || (! argument.startsWithChar ('~') && juce::File::isAbsolutePath (argument));

    return juce::File (isWhole ? argument
                               : juce::File::getCurrentWorkingDirectory().getFullPathName() + "/" + argument);
}

} // namespace tessivar
