#pragma once

#include <algorithm>
#include <array>

namespace tessivar
{

/** The sample rates that can be analyzed, in Hz. */
inline constexpr std::array<int, 5> supportedSampleRates{ 44100, 48000, 88200, 96000, 192000 };

constexpr bool isSupportedSampleRate (double sampleRate)
{
    return std::find (supportedSampleRates.begin(), supportedSampleRates.end(), sampleRate)
           != supportedSampleRates.end();
}

} // namespace tessivar
