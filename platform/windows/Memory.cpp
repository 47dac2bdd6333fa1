#include "platform/Memory.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#ifndef NOMINMAX
    #define NOMINMAX
#endif
#include <windows.h>

#include <psapi.h>

namespace tessivar
{

namespace
{
std::uint64_t remaining (std::uint64_t limit, std::uint64_t used)
{
    return limit > used ? limit - used : 0;
}

/** What the limits of a group of processes leave; all there is where this one belongs to none. */
std::uint64_t leftOfJob()
{
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION job = {};
    PROCESS_MEMORY_COUNTERS_EX own = {};
    auto left = ~std::uint64_t{ 0 };

    if (! ::QueryInformationJobObject (
            nullptr, JobObjectExtendedLimitInformation, &job, sizeof (job), nullptr)
        || ! ::GetProcessMemoryInfo (
            ::GetCurrentProcess(), reinterpret_cast<PROCESS_MEMORY_COUNTERS*> (&own), sizeof (own)))
        return left;

    if ((job.BasicLimitInformation.LimitFlags & JOB_OBJECT_LIMIT_PROCESS_MEMORY) != 0)
        left = std::min (left, remaining (job.ProcessMemoryLimit, own.PrivateUsage));

    if ((job.BasicLimitInformation.LimitFlags & JOB_OBJECT_LIMIT_JOB_MEMORY) != 0)
        left = std::min (left, remaining (job.JobMemoryLimit, own.PrivateUsage));

    return left;
}
} // namespace

LargeMemory::LargeMemory (std::size_t numBytes, Pages) : mappedBytes (numBytes + largePage)
{
    // The system's own large pages are for those that may lock memory, and are never lent to anybody else.
    mapped = start = ::VirtualAlloc (nullptr, mappedBytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);

    if (mapped == nullptr)
        throw std::bad_alloc();

    auto room = mappedBytes;
    std::align (largePage, numBytes, start, room);
}

LargeMemory::~LargeMemory()
{
    if (mapped != nullptr)
        ::VirtualFree (mapped, 0, MEM_RELEASE);
}

void LargeMemory::swap (LargeMemory& other) noexcept
{
    std::swap (mapped, other.mapped);
    std::swap (start, other.start);
    std::swap (mappedBytes, other.mappedBytes);
}

std::optional<std::uint64_t> freeMemory()
{
    MEMORYSTATUSEX status = {};
    status.dwLength = sizeof (status);

    if (! ::GlobalMemoryStatusEx (&status))
        return std::nullopt;

    return std::min ({ std::uint64_t{ status.ullAvailPhys },
                       std::uint64_t{ status.ullAvailPageFile },
                       std::uint64_t{ status.ullAvailVirtual },
                       leftOfJob() });
}

} // namespace tessivar
