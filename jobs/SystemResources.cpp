#include "jobs/SystemResources.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <sstream>
#include <string>

#include <sys/resource.h>
#include <unistd.h>

namespace tessivar
{

namespace
{
using Bytes = std::optional<std::uint64_t>;

Bytes least (Bytes a, Bytes b)
{
    if (a && b)
        return std::min (*a, *b);

    return a ? a : b;
}

/** What stays of a limit. Use may exceed it for a moment. */
std::uint64_t remaining (std::uint64_t limit, std::uint64_t used)
{
    return limit > used ? limit - used : 0;
}

/** The number behind a word in a file of lines "word number", such as those of the kernel. */
Bytes numberBehind (const std::string& path, const std::string& word)
{
    std::ifstream file (path);

    for (std::string line; std::getline (file, line);)
    {
        std::istringstream fields (line);
        std::string first;
        std::uint64_t number = 0;

        if (fields >> first && first == word && fields >> number)
            return number;
    }

    return std::nullopt;
}

/** A file that holds one number; nothing for "max" and for a file that is not there. */
Bytes onlyNumberIn (const std::string& path)
{
    std::ifstream file (path);
    std::uint64_t number = 0;
    return file >> number ? Bytes (number) : std::nullopt;
}

Bytes availableInSystem()
{
    const auto kilobytes = numberBehind ("/proc/meminfo", "MemAvailable:");
    return kilobytes ? Bytes (*kilobytes * 1024) : std::nullopt;
}

Bytes leftOfAddressSpace()
{
    rlimit limit = {};

    if (::getrlimit (RLIMIT_AS, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
        return std::nullopt;

    const auto pages = onlyNumberIn ("/proc/self/statm").value_or (0);
    return remaining (limit.rlim_cur, pages * static_cast<std::uint64_t> (::sysconf (_SC_PAGESIZE)));
}

Bytes leftOfControlGroups()
{
    const std::string root = "/sys/fs/cgroup";
    std::ifstream groups ("/proc/self/cgroup");
    std::string path;

    // The line of the unified hierarchy is "0::/path".
    for (std::string line; std::getline (groups, line);)
        if (line.rfind ("0::/", 0) == 0)
            path = line.substr (3);

    Bytes result;

    for (; ! path.empty(); path.erase (path.find_last_of ('/')))
    {
        if (path == "/")
            path.clear();

        const auto folder = root + path;
        const auto limit = onlyNumberIn (folder + "/memory.max");
        const auto used = onlyNumberIn (folder + "/memory.current");

        // Pages of files that nobody needs count as used, but are given back at once.
        const auto reclaimable = numberBehind (folder + "/memory.stat", "inactive_file").value_or (0);

        if (limit && used)
            result = least (result, remaining (*limit, remaining (*used, reclaimable)));

        if (path.empty())
            break;
    }

    return result;
}
} // namespace

std::optional<std::uint64_t> freeMemory()
{
    return least (availableInSystem(), least (leftOfAddressSpace(), leftOfControlGroups()));
}

juce::String describeBytes (std::uint64_t bytes)
{
    const auto text = juce::String (bytes) + " bytes";
    const auto value = static_cast<double> (bytes);

    if (value >= 1.0e9)
        return text + " (" + juce::String (value / 1.0e9, 2) + " GB)";

    return value >= 1.0e7 ? text + " (" + juce::String (value / 1.0e6, 0) + " MB)" : text;
}

void makeTooLargeWritesFail()
{
    // A handler and not SIG_IGN, which other programs would inherit.
    struct sigaction action = {};
    action.sa_handler = [] (int) {};
    action.sa_flags = SA_RESTART;
    sigemptyset (&action.sa_mask);
    sigaction (SIGXFSZ, &action, nullptr);
}

} // namespace tessivar
