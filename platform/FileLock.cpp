#include "platform/FileLock.h"

#include "platform/FileLocking.h"
#include "platform/FileStatus.h"
#include "platform/Folders.h"

namespace tessivar
{

std::optional<FileLock> FileLock::take (const juce::File& file, SystemError& error)
{
    OpenFile opened;
    error = fileLocking::open (file, fileLocking::IfMissing::make, opened);

    if (! error.failed())
        error = fileLocking::lock (opened.handle());

    if (! error.failed() && ! isStillAt (opened.handle(), file))
        error = SystemError::Kind::inUse; // somebody removes it at this moment: the next try makes a new one

    return error.failed() ? std::nullopt : std::make_optional (FileLock (std::move (opened)));
}

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

LockState tryLock (FileHandle handle)
{
    const auto error = fileLocking::lock (handle);

    if (! error.failed())
        return LockState::free;

    return error.kind() == SystemError::Kind::inUse ? LockState::held : LockState::unknown;
}

LockState lockStateOf (const juce::File& file)
{
    OpenFile opened;
    const auto isOpen = ! fileLocking::open (file, fileLocking::IfMissing::fail, opened).failed();
    return isOpen ? tryLock (opened.handle()) : LockState::unknown;
}

} // namespace tessivar
