#include "platform/FileStatus.h"

namespace tessivar
{

namespace
{
/** Some systems tell no volume of an open file that has got another name. */
bool areOfOneFile (const FileId& a, const FileId& b)
{
    return a.number == b.number && (a.volume == b.volume || a.volume == 0 || b.volume == 0);
}
} // namespace

std::optional<FileStatus> statusOf (const juce::File& file, Links links)
{
    FileStatus status;
    return readStatus (file, status, links).failed() ? std::nullopt : std::make_optional (status);
}

bool isSameFile (const juce::File& a, const juce::File& b)
{
    const auto first = statusOf (a), second = statusOf (b);
    return first && second && areOfOneFile (first->id, second->id);
}

bool isStillAt (FileHandle handle, const juce::File& file)
{
    const auto open = statusOf (handle), named = statusOf (file);
    return open && named && areOfOneFile (open->id, named->id);
}

} // namespace tessivar
