#include "platform/FileSystemCalls.h"

namespace tessivar
{

Transfer
FileSystemCalls::writeAll (FileHandle handle, std::uint64_t offset, const void* data, std::size_t numBytes)
{
    Transfer all;

    while (all.numBytes < numBytes && ! all.error.failed())
    {
        const auto* rest = static_cast<const char*> (data) + all.numBytes;
        const auto [error, count] = writeAt (handle, offset + all.numBytes, rest, numBytes - all.numBytes);
        all.numBytes += count;

        // A write that takes nothing and gives no reason would go on for ever.
        all.error = count == 0 && ! error.failed() ? SystemError::Kind::failed : error;
    }

    return all;
}

Transfer FileSystemCalls::readAll (FileHandle handle, std::uint64_t offset, void* dest, std::size_t numBytes)
{
    Transfer all;

    for (auto isAtEnd = false; all.numBytes < numBytes && ! all.error.failed() && ! isAtEnd;)
    {
        auto* rest = static_cast<char*> (dest) + all.numBytes;
        const auto [error, count] = readAt (handle, offset + all.numBytes, rest, numBytes - all.numBytes);
        all = { error, all.numBytes + count };
        isAtEnd = count == 0;
    }

    return all;
}

FileSystemCalls& FileSystemCalls::system()
{
    static FileSystemCalls calls;
    return calls;
}

SystemError OpenFile::open (const juce::File& file, Opening how)
{
    close();
    return FileSystemCalls::system().open (file, how, owned);
}

void OpenFile::close()
{
    if (isOpen())
        FileSystemCalls::system().close (release());
}

} // namespace tessivar
