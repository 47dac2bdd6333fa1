#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace tessivar
{

/** Which microphones hear the same drum: neither of two such twins is leakage of the other, and a twin of a
    twin is one too. At first none are. */
class TwinMicrophones
{
public:
    explicit TwinMicrophones (std::size_t numMicrophones) : drums (numMicrophones)
    {
        std::iota (drums.begin(), drums.end(), std::size_t{ 0 });
    }

    [[nodiscard]] std::size_t size() const { return drums.size(); }

    void join (std::size_t a, std::size_t b)
    {
        const auto [kept, replaced] = std::minmax ({ drums[a], drums[b] });
        std::replace (drums.begin(), drums.end(), std::size_t{ replaced }, std::size_t{ kept });
    }

    /** A microphone is no twin of itself. */
    [[nodiscard]] bool areTwins (std::size_t a, std::size_t b) const
    {
        return a != b && drums[a] == drums[b];
    }

    [[nodiscard]] bool hasTwin (std::size_t microphone) const
    {
        return std::count (drums.begin(), drums.end(), drums[microphone]) > 1;
    }

    /** Equal for twins: the first of the microphones that hear the same drum. */
    [[nodiscard]] std::size_t drumOf (std::size_t microphone) const { return drums[microphone]; }

private:
    std::vector<std::size_t> drums; // by microphone
};

} // namespace tessivar
