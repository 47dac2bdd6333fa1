#pragma once

#include <juce_core/juce_core.h>

#include <memory>

namespace tessivar
{

/** Band-limited rate conversion of one channel, for devices that can't run at the Group's rate.

    At least 114 dB of signal to noise and flat to 0.001 dB, up to 0.45 of the lower rate; docs/playback.md
    has the measurements. process() allocates nothing and takes no lock.
*/
class RateConverter
{
public:
    RateConverter();
    ~RateConverter();

    /** Prepares to convert, with an empty past. False when it can't reach the ratio of the rates (beyond
        1:16, or of large numbers).
    */
    [[nodiscard]] bool prepare (double fromRate, double toRate);

    struct Progress
    {
        int numRead = 0;
        int numWritten = 0;
    };

    /** Converts until either the input or the room in the output is used up. */
    [[nodiscard]] Progress process (const float* input, int numInput, float* output, int numOutput);

private:
    struct Filter;
    std::unique_ptr<Filter> filter;

    JUCE_DECLARE_NON_COPYABLE (RateConverter)
};

} // namespace tessivar
