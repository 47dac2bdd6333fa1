#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tessivar
{

/** What the interference model takes for a hit that is heard in another microphone too. Of the onsets of a drum, bin by bin, a
    quantile of the other microphone's rises, in parts of the drum's own, bounds its gain there.
*/
struct RiseRule
{
    float steadyFactor = 1.5f; // what sounds already may waver by this much without counting
    float tolerance = 2.0f;    // the gain may be this much larger than the rises
    double quantile = 0.5;     // of the rises, 0..1
};

/** A rule for every pair of M microphones: entry i * M + j is for what drum j leaves in microphone i.

    The less a microphone hears of the others on the whole, the more a rise has to say: where next to nothing leaks, a drum's own
    ring under other hits must not be taken for leakage. Where microphones hear each other well, a bin in which hits are hidden
    by what sounds on says nothing, and a low quantile would leave their leakage in.

    @param totals  power of whole frames, M rows of numFrames values, means of three frames
*/
[[nodiscard]] std::vector<RiseRule>
riseRules (std::span<const float> totals, std::size_t numTracks, std::size_t numFrames);

} // namespace tessivar
