#pragma once

#include <cstdint>

namespace tessivar
{

/** A seeded stream of uniform values in [0, 1); equal seeds give equal streams on every machine.

    Source: SplitMix64 (Steele, Lea, Flood 2014); a value is the top 24 bits times 2^-24.
*/
class RandomStream
{
public:
    explicit RandomStream (std::uint64_t seed) : state (seed) {}

    [[nodiscard]] float next()
    {
        state += 0x9e3779b97f4a7c15u;
        auto z = state;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        z ^= z >> 31;
        return static_cast<float> (z >> 40) * 0x1.0p-24f;
    }

private:
    std::uint64_t state;
};

} // namespace tessivar
