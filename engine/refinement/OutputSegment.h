#pragma once

#include "engine/refinement/Planes.h"
#include "engine/refinement/RefinementRun.h"

#include <optional>

namespace tessivar::refinement
{

/** A segment of a track's output, summed up from masked frames. Lives in a workspace's buffers, one at a
    time. */
class OutputSegment
{
public:
    OutputSegment (const RefinementRun& run, std::size_t track, std::size_t index, Workspace& workspace);

    /** Reads the mask of all frames, and the source, or what the subtraction has left of it, of all available
        ones. */
    [[nodiscard]] AnalysisStatus open (const MaskPlane& mask,
                                       const std::optional<SamplePlane>& remainder = std::nullopt);

    /** The frame's codes of the mask. */
    [[nodiscard]] const std::uint16_t* mask (std::int64_t frame) const;

    /** The samples from an available frame's start on. */
    [[nodiscard]] const float* frameSamples (std::int64_t frame) const;

    /** The track itself, range.length samples. */
    [[nodiscard]] const float* source() const;

    /** Begins one of the signals 0..5 with silence. */
    void clear (std::size_t signal);

    /** The spectrum that the next calls of add() work on. */
    void setSpectrum (const float* spectrum);

    /** Adds a frame to a signal: its spectrum under a gain for each bin. */
    void add (std::size_t signal, std::int64_t frame, const float* gains);

    /** range.length samples of a signal. */
    [[nodiscard]] const float* samples (std::size_t signal) const { return w.signals[signal].samples(); }

    const SampleSegment range;
    const FrameRange available; // the frames that overlap, and one more on either side where there is one

private:
    const RefinementRun& run;
    Workspace& w;
    const std::size_t track;
    bool isSourceApart = false; // the track itself is in w.untouched
};

} // namespace tessivar::refinement
