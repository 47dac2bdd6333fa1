#include "platform/FileStatus.h"

namespace tessivar
{

std::optional<FileStatus> statusOf (const juce::File& file, Links links)
{
    FileStatus status;
    return readStatus (file, status, links).failed() ? std::nullopt : std::make_optional (status);
}

bool isSameFile (const juce::File& a, const juce::File& b)
{
    const auto first = statusOf (a), second = statusOf (b);
    return first && second && first->id == second->id;
}

bool isStillAt (FileHandle handle, const juce::File& file)
{
    const auto open = statusOf (handle), named = statusOf (file);
    return open && named && open->id == named->id;
}

} // namespace tessivar
