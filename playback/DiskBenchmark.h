#pragma once

#include "playback/ReadAhead.h"
#include "terms/WorkControl.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <vector>

namespace tessivar
{

/** How fast a folder's disk reads the way playback does: in one go, and as 24 streams side by side. */
struct DiskBenchmark
{
    static constexpr int numStreams = 24;

    struct Options
    {
        std::int64_t fileBytes = 768 << 20; // of the test file, which is removed at the end; at least 24 MB
        double secondsPerMeasurement = 3.0; // at most
        double sampleRate = 48000.0;        // of the playback that the proposal serves
    };

    /** Reading 24 streams in turn, in pieces of one size. */
    struct Streams
    {
        int framesPerRead = 0; // of seven channels
        double bytesPerSecond = 0.0;
        double longestRead = 0.0; // seconds
    };

    double writeBytesPerSecond = 0.0;
    double sequentialBytesPerSecond = 0.0;
    std::vector<Streams> streams; // smallest pieces first

    /** What 24 rendered tracks need at the sample rate of the options. */
    double neededBytesPerSecond = 0.0;

    ReadAheadSettings proposal;

    /** Whether this disk can play 24 rendered tracks with something to spare. */
    bool keepsUp = false;

    /** Writes the test file, reads it past the system's cache, and removes it. Takes about five times
        secondsPerMeasurement, and the time to write; asks shouldStop after every piece. Fails with the
        reason, also when stopped. Not for the message thread.
    */
    [[nodiscard]] static juce::Result
    run (const juce::File& folder, const Options& options, const WorkControl& control, DiskBenchmark& result);

    /** Derives proposal and keepsUp from the measurements. */
    void propose (double sampleRate);
};

} // namespace tessivar
