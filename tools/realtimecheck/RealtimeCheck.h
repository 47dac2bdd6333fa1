#pragma once

#include <cstdint>
#include <string>

namespace tessivar::test
{

/** Calls inside of RealtimeScopes that a real-time thread must not make. */
struct RealtimeBreaches
{
    std::uint64_t allocations = 0; // malloc, free and their kin
    std::uint64_t locks = 0;
    std::uint64_t fileAccesses = 0;
    std::uint64_t sleeps = 0;

    [[nodiscard]] std::uint64_t total() const { return allocations + locks + fileAccesses + sleeps; }
    [[nodiscard]] std::string text() const;
};

/** While an object of this lives, the calls of its thread are counted. */
class RealtimeScope
{
public:
    RealtimeScope();
    ~RealtimeScope();

    RealtimeScope (const RealtimeScope&) = delete;
    RealtimeScope& operator= (const RealtimeScope&) = delete;
};

/** What all threads together did since the program started. */
[[nodiscard]] RealtimeBreaches realtimeBreaches();

/** False under a sanitizer, which has its own idea of malloc: then nothing is counted. */
[[nodiscard]] bool countsRealtimeBreaches();

} // namespace tessivar::test
