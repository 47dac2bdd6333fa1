#pragma once

#include "engine/AnalysisPipeline.h"
#include "engine/SuppressionRendering.h"
#include "model/TemporaryStore.h"
#include "model/TrackSamples.h"
#include "model/audiofile/SourceChunks.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <memory>

namespace tessivar
{

/** One close microphone (or overhead, or other track) of a performance, as the jobs see it.

    Its audio lies on disk, full scale 1.0:
      source      one channel of lengthInSamples
      rendered    seven channels of lengthInSamples: 0..4 the five best components, 5 the residual, 6 the source
      components  10 planes of lengthInSamples floats, best first, in the byte order of this machine
*/
struct SessionTrack
{
    juce::File sourceFile;
    juce::String name;                // of the source file, without extension
    int channel = 0;                  // 0-based, within the source file
    int numChannels = 1;              // of the source file
    double sampleRate = 0.0;          // Hz
    std::int64_t lengthInSamples = 0; // the track's own, others of the session may be longer
    int bitsPerSample = 0;            // of the source file
    bool isFloatingPoint = false;     // of the source file
    juce::StringPairArray metadata;   // of the source file, as its reader gave it
    std::shared_ptr<const SourceChunks>
        sourceChunks; // of the source file; null when they are too large to keep

    DrumType drumType = DrumType::other;
    bool excluded = false;
    KnobValues setting;

    std::shared_ptr<TrackSamples> source; // null until the track is imported

    bool processed = false;                 // set by an analysis the track took part in
    TrackAnalysis analysis;                 // of that analysis
    std::shared_ptr<TrackSamples> rendered; // null unless processed
    std::shared_ptr<StoreFile> components;  // null unless processed and asked for

    /** Whether an analysis renders this track; all others pass through unchanged. */
    [[nodiscard]] bool takesPart() const { return ! excluded && isRenderedType (drumType); }

    /** Whether what is played and exported is rendered, from `rendered`, and not the source as it is. */
    [[nodiscard]] bool hasProcessedOutput() const { return processed && takesPart(); }
};

} // namespace tessivar
