#include "platform/InstanceLink.h"

#include "platform/DiskNames.h"
#include "platform/Folders.h"
#include "platform/InstanceLinkServer.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace tessivar
{

namespace instanceLink
{

int millisecondsUntil (Clock::time_point time)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds> (time - Clock::now()).count();
    return static_cast<int> (std::max<std::int64_t> (0, left));
}

std::string messageOf (const juce::StringArray& paths)
{
    std::string message;

    for (const auto& path : paths)
        message.append (bytesOfPath (path)).push_back ('\0');

    return message;
}

juce::StringArray pathsIn (std::string_view message)
{
    juce::StringArray paths;

    for (std::size_t start = 0; start < message.size();)
    {
        const auto end = message.find ('\0', start);
        paths.add (pathOfBytes (std::string (message.substr (start, end - start))));
        start = end + 1;
    }

    return paths;
}

} // namespace instanceLink

InstanceLink::InstanceLink (const juce::File& folderToUse) : folder (folderToUse) {}

InstanceLink::~InstanceLink() = default;

bool InstanceLink::listen (const Receiver& receiver)
{
    if (makeFolder (folder).failed())
        return false;

    makePrivate (folder);
    server = Server::start (folder, receiver);
    return server != nullptr;
}

} // namespace tessivar
