#pragma once

#include "engine/refinement/RefinementRun.h"

namespace tessivar::refinement
{

/** A stretch of 256 hops of a track's output, put together from masked frames. Works in the buffers of a
    workspace, one at a time. */
class OutputSegment
{
public:
    /** Segments that a track has. */
    [[nodiscard]] static std::size_t count (const RefinementRun& run, std::size_t track);

    OutputSegment (RefinementRun& run, std::size_t track, std::size_t index, Workspace& workspace);

    /** Reads the mask and the source of all frames that overlap the segment, and of the source one more
        frame on either side. isCancelled: frames are made of what LeakageCancelling has left of the source. */
    [[nodiscard]] AnalysisStatus open (bool isCancelled = false);

    [[nodiscard]] std::int64_t start() const { return firstSample; }
    [[nodiscard]] std::size_t length() const { return numSamples; }
    [[nodiscard]] FrameRange frames() const { return overlapping; }

    /** The frame's codes of the mask. */
    [[nodiscard]] const std::uint16_t* mask (std::int64_t frame) const;

    /** The samples that the frame begins with. */
    [[nodiscard]] const float* frameSamples (std::int64_t frame) const;

    /** The samples that the first frame's neighbour begins with: what a PowerStream of all frames() works on. */
    [[nodiscard]] const float* samplesAhead() const;

    /** The track itself, length() samples. */
    [[nodiscard]] const float* source() const;

    /** Begins one of the signals 0..5 with silence. */
    void clear (std::size_t signal);

    /** The spectrum that the next calls of add() work on. */
    void setSpectrum (const float* spectrum);

    /** Adds a frame to a signal: its spectrum under a gain for each bin. */
    void add (std::size_t signal, std::int64_t frame, const float* gains);

    /** length() samples of a signal. */
    [[nodiscard]] const float* samples (std::size_t signal) const;

private:
    [[nodiscard]] std::size_t margin() const { return static_cast<std::size_t> (run.shape.rate.frameLength); }

    RefinementRun& run;
    Workspace& w;
    const std::size_t track;
    std::int64_t firstSample = 0;
    std::size_t numSamples = 0;
    FrameRange overlapping;
    bool isUncancelledApart = false; // the track itself lies in the workspace's uncancelled
};

} // namespace tessivar::refinement
