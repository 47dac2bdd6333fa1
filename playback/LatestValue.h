#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace tessivar
{

/** Hands the newest value from one thread to another, without waiting or allocating: of three copies each
    side owns one, and the third changes hands. Values overwritten before they are read are lost.

    One thread calls write(), one other thread calls read().
*/
template <typename Value>
class LatestValue
{
public:
    explicit LatestValue (const Value& initial = {}) { copies.fill (initial); }

    void write (const Value& value)
    {
        copies[writing] = value;
        writing = shared.exchange (writing | fresh, std::memory_order_acq_rel) & ~fresh;
    }

    /** The newest value; unchanged until the next call. */
    [[nodiscard]] const Value& read()
    {
        if ((shared.load (std::memory_order_relaxed) & fresh) != 0)
            reading = shared.exchange (reading, std::memory_order_acq_rel) & ~fresh;

        return copies[reading];
    }

private:
    static constexpr std::uint32_t fresh = 4;

    std::array<Value, 3> copies;
    std::uint32_t writing = 0; // the writer's copy
    std::uint32_t reading = 1; // the reader's copy
    std::atomic<std::uint32_t> shared{ 2 };
};

} // namespace tessivar
