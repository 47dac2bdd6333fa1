#include "platform/FileLock.h"

#include "platform/Folders.h"

namespace tessivar
{

std::optional<FileLock> FileLock::take (const juce::File& file)
{
    SystemError ignored;
    return take (file, ignored);
}

std::optional<FileLock> FileLock::waitFor (const juce::File& file, int milliseconds)
{
    if (makeFolder (file.getParentDirectory()).failed())
        return std::nullopt;

    const auto start = juce::Time::getMillisecondCounter();

    for (;;)
    {
        SystemError error;

        if (auto lock = take (file, error))
            return lock;

        if (error.kind() != SystemError::Kind::inUse
            || juce::Time::getMillisecondCounter() - start >= static_cast<juce::uint32> (milliseconds))
            return std::nullopt;

        juce::Thread::sleep (2);
    }
}

} // namespace tessivar
