#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

// Plain C++: the engine includes this.

namespace tessivar
{

/** Memory for large arrays, straight from the system: zero, made when it is touched, on a boundary of
    largePage bytes, and in large pages where it is told to and the system has them. Filling gigabytes by hand
    would take a second.
*/
class LargeMemory
{
public:
    static constexpr std::size_t largePage = std::size_t{ 2 } << 20;

    /** Ordinary pages are those that the system has had in use before, where there are such; large ones lie
        in memory that it may never have touched, which a virtual machine pays for dearly.
    */
    enum class Pages
    {
        large,
        ordinary
    };

    LargeMemory() = default;

    /** Throws std::bad_alloc when memory runs out. */
    LargeMemory (std::size_t numBytes, Pages pages);
    ~LargeMemory();

    LargeMemory (const LargeMemory&) = delete;
    LargeMemory& operator= (const LargeMemory&) = delete;

    void swap (LargeMemory& other) noexcept;

    [[nodiscard]] void* data() const { return start; } // null: none

private:
    void* mapped = nullptr;
    void* start = nullptr; // on the first large page inside
    std::size_t mappedBytes = 0;
};

/** Bytes of memory that this process can still take without swapping or being refused: the least of what the
    system has available, what is left of the process's own limit, and what is left of the limits of the
    groups of processes that it belongs to. Nothing when the system tells none of these.
*/
[[nodiscard]] std::optional<std::uint64_t> freeMemory();

} // namespace tessivar
