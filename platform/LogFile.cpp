#include "platform/LogFile.h"

#include "platform/FileStatus.h"

namespace tessivar
{

LogFile::LogFile (const juce::File& path)
{
    if (! file.open (path, Opening::append).failed())
        if (const auto status = statusOf (file.handle()))
            numBytes = status->size;
}

void LogFile::append (std::string_view text)
{
    // Opened for that, the file takes everything at its end.
    numBytes += FileSystemCalls::system().writeAt (file.handle(), 0, text.data(), text.size()).numBytes;
}

} // namespace tessivar
