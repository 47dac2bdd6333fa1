#include "platform/Memory.h"

#include <algorithm>
#include <fstream>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <utility>

#include <sys/mman.h>
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

LargeMemory::LargeMemory (std::size_t numBytes, Pages kind) : mappedBytes (numBytes + largePage)
{
    auto* const pages =
        ::mmap (nullptr, mappedBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);

    if (pages == MAP_FAILED)
        throw std::bad_alloc();

    mapped = start = pages;
    auto room = mappedBytes;
    std::align (largePage, numBytes, start, room);

    if (kind == Pages::large)
        ::madvise (start, numBytes, MADV_HUGEPAGE);
}

LargeMemory::~LargeMemory()
{
    if (mapped != nullptr)
        ::munmap (mapped, mappedBytes);
}

void LargeMemory::swap (LargeMemory& other) noexcept
{
    std::swap (mapped, other.mapped);
    std::swap (start, other.start);
    std::swap (mappedBytes, other.mappedBytes);
}

std::optional<std::uint64_t> freeMemory()
{
    return least (availableInSystem(), least (leftOfAddressSpace(), leftOfControlGroups()));
}

} // namespace tessivar
