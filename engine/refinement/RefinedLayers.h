#pragma once

#include "engine/AnalysisResult.h"
#include "engine/AnalysisSettings.h"
#include "engine/ComponentReader.h"
#include "engine/SampleStorage.h"
#include "engine/numerics/WorkerPool.h"
#include "terms/BleedMap.h"
#include "terms/DrumType.h"
#include "terms/WorkControl.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace tessivar
{

/** One active close microphone as the refinement sees it. */
struct RefinementTrack
{
    int index = 0; // into the tracks of the analysis
    DrumType drumType = DrumType::other;
    SampleSource* source = nullptr;      // the track's own samples
    ComponentReader* standard = nullptr; // what the standard method makes of it
    std::int64_t ownLength = 0;          // samples
    bool rings = false;                  // by its sound
};

/** Takes the standard method's result further, to channels whose whole Focus values remove what the evidence
    calls leakage.

    Spectra have twice the frame length of the analysis, n, with hop n/4. The standard output at Focus 4 is
    the first estimate of every drum's own power; an interference model over all microphones refines it bin by
    bin; evidence from bin, band and whole spectrum gives a mask; the standard outputs are compared with the
    masked track; what the other masked drums give in a microphone is subtracted from it; evidence of onsets
    and decay makes the gains of the layers, which are what is left under them, as far as they are believed.
    Channels 0..5 still rebuild the source, and the focus and fine rule holds unchanged. Turning Focus up
    never moves to a worse match. Streamed: three planes of 16 bits a bin and frame of a track in the storage,
    blocks of bins for the model, blocks of sixteen frames for everything else. Results do not depend on the
    number of workers.

    progress gets 0..1. Fills the findings of analyses, which is indexed like the tracks of the analysis,
    and makes the bleed map. Returns completed, stopped, readFailed or storageFailed.
*/
[[nodiscard]] AnalysisStatus refineTracks (std::span<const RefinementTrack> tracks,
                                           const AnalysisShape& shape,
                                           WorkerPool& pool,
                                           AnalysisStorage& storage,
                                           const WorkControl& control,
                                           const std::function<void (double)>& progress,
                                           std::vector<TrackAnalysis>& analyses,
                                           std::shared_ptr<const BleedMap>& bleed);

/** Bytes that refineTracks takes from memory and from its spectrogram planes. */
[[nodiscard]] AnalysisForecast forecastRefinement (const AnalysisShape& shape, int numThreads);

} // namespace tessivar
