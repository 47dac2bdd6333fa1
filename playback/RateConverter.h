#pragma once

#include <juce_core/juce_core.h>

#include <memory>

namespace tessivar
{

/** Band-limited conversion of one channel from one sample rate to another, for devices that can't run at the
    Group's rate.

    At least 114 dB of signal to noise up to 0.45 of the lower rate, flat to 0.001 dB there; docs/playback.md
    has what was measured. process() allocates nothing and takes no lock.
*/
class RateConverter
{
public:
    RateConverter();
    ~RateConverter();

    /** Gets ready to convert, with an empty past. False when the ratio of the rates is beyond it (more than
        1:16, or of large numbers).
    */
    [[nodiscard]] bool prepare (double fromRate, double toRate);

    struct Progress
    {
        int numRead = 0;
        int numWritten = 0;
    };

    /** Converts as much as input and room allow; one of both is then used up. */
    [[nodiscard]] Progress process (const float* input, int numInput, float* output, int numOutput);

private:
    struct Filter;
    std::unique_ptr<Filter> filter;

    JUCE_DECLARE_NON_COPYABLE (RateConverter)
};

} // namespace tessivar
