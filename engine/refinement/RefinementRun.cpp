#include "engine/refinement/RefinementRun.h"

#include "engine/DataFileGenerator.h"

#include <algorithm>

namespace tessivar::refinement
{

Workspace::Workspace (const SpectrumShape& shape, std::span<const float> window)
    : fft (window), spectrum (fft.spectrumFloats()), lastFrame (2 * shape.numBins),
      sourcePowers (shape.blockCodes()), outputPowers (shape.blockCodes()), logits (shape.blockCodes()),
      logTotals (shape.blockCodes()), gains (shape.blockCodes()), sourceFrames (shape),
      source (shape.blockSamples()), rendered (channelLayout::numBestComponents),
      maskRoom (shape.blockCodes()), ratioRoom (shape.blockCodes()), low (shape, window)
{
    // Four windows squared add up to two.
    frameGains.fill (2.0f / static_cast<float> (shape.rate.frameLength));

    for (auto& samples : rendered)
        samples.resize (shape.blockSamples());

    for (std::size_t f = 0; f < numFocusSteps; ++f)
    {
        outputFrames.emplace_back (shape);
        signals.emplace_back (shape);
    }
}

bool Workspace::load (SampleSource& track, std::span<const std::int64_t> frames, const SpectrumShape& shape)
{
    const auto frameLength = static_cast<std::size_t> (shape.rate.frameLength);
    const auto hop = static_cast<std::size_t> (shape.rate.hop);
    std::array<const float*, blockFrames> starts{};
    std::size_t end = 0; // of the samples in hand
    chosen.resize (blockFrames * frameLength);

    for (std::size_t l = 0; l < frames.size(); ++l)
    {
        // A frame that follows the one before shares all but a hop with it.
        const auto numNew = l > 0 && frames[l] == frames[l - 1] + 1 ? hop : frameLength;
        const auto room = std::span (chosen).subspan (end, numNew);
        end += numNew;
        starts[l] = chosen.data() + end - frameLength;

        if (! readSource (
                track,
                { frameStart (frames[l], shape.rate) + static_cast<std::int64_t> (frameLength - numNew),
                  room }))
            return false;
    }

    fft.load (starts);
    return true;
}

RefinementRun::RefinementRun (std::span<const RefinementTrack> t,
                              const AnalysisShape& analysisShape,
                              WorkerPool& p,
                              AnalysisStorage& s,
                              const WorkControl& c,
                              const std::function<void (double)>& progressSink,
                              std::vector<TrackAnalysis>& results)
    : tracks (t), shape (analysisShape), storage (s), control (c), bands (shape.numBins, shape.binWidthHz()),
      pool (p), progress (progressSink), analyses (results)
{
    const auto weights = dataFiles::sineBellWindow (shape.rate.frameLength);
    window = AlignedBuffer (weights.size());
    std::copy (weights.begin(), weights.end(), window.data());

    for (int i = 0; i < pool.numWorkers(); ++i)
        workspaces.push_back (std::make_unique<Workspace> (shape, window.span()));
}

bool RefinementRun::forEach (std::size_t numItems,
                             ProgressRange progressRange,
                             const std::function<AnalysisStatus (std::size_t, Workspace&)>& work)
{
    currentStatus = forEachItem (
        pool,
        control,
        numItems,
        [&] (std::size_t item, int worker)
        { return work (item, *workspaces[static_cast<std::size_t> (worker)]); },
        [&] (double done) { progress (progressRange.at (done)); });
    return currentStatus == AnalysisStatus::completed;
}

bool RefinementRun::forEachTrack (ProgressRange progressRange,
                                  const std::function<bool (std::size_t, ProgressRange)>& work)
{
    const auto share = 1.0 / static_cast<double> (tracks.size());

    for (std::size_t n = 0; n < tracks.size(); ++n)
        if (const auto done = static_cast<double> (n) * share;
            ! work (n, progressRange.part (done, done + share)))
            return false;

    return true;
}

} // namespace tessivar::refinement
