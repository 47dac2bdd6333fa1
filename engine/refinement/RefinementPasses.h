#pragma once

#include "engine/refinement/DrumPowers.h"
#include "engine/refinement/LowBand.h"
#include "engine/refinement/Planes.h"
#include "engine/refinement/RefinementRun.h"
#include "engine/refinement/SeparationEvidence.h"
#include "engine/refinement/SilentFrames.h"
#include "engine/refinement/TwinMicrophones.h"

#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

/** The passes of the refined method, in order. Each takes the planes that it overwrites and returns what it
    made, or nothing; then run.status() says why. */
namespace tessivar::refinement
{

inline constexpr std::size_t planesPerTrack = 3;

/** Power of a track, mean of three frames: the upper and the lower halves of floats. 16 bits would not do, as
    hits that are alike differ by less and it matters which is the loudest. */
struct TrackPower
{
    TilePlane upper, lower;
    TilePlane ownDrum; // first estimate of its own drum's power, in 16 bits
};

struct GatheredPowers
{
    std::vector<TrackPower> tracks;
    std::vector<std::vector<float>> totals; // power of whole frames, by track
    std::vector<std::vector<float>>
        bands; // power of the evidence's bands, by track; a band's frames in a row
    SilentFrames silent;
};

/** Of the standard output that is the first estimate of a track's own drum. */
inline constexpr std::size_t firstEstimateFocus = 4;

/** First pass: the power of every track, and of the first estimate of its own drum. */
[[nodiscard]] std::optional<GatheredPowers> gatherPowers (RefinementRun& run, ProgressRange progress);

/** Finds the microphones that hear the same drum, by their sound, and fills the findings' sharedDrum.

    In every band the strongest onsets of both must coincide, each relative to its own strongest: leakage
    arrives far below them, and where drums leak as loudly as they play, some band still tells them apart.
    About these onsets the microphones must be coherent, bin by bin over at most 240 frames, so that delay,
    polarity and colour don't matter: drums that are always hit together have onsets in common, but no phase.
    The less coherent two microphones are, the more alike their onsets must be; equal types count a little.

    Four flops a band, frame and track and some thousand comparisons a band and pair; only pairs of like
    onsets take transforms, at most 480, and 16 flops a bin and frame of theirs. Four bytes a band and frame
    of a track for the rises, beside the powers by band. */
[[nodiscard]] std::optional<TwinMicrophones>
findTwins (RefinementRun& run, const GatheredPowers& powers, ProgressRange progress);

/** By bin: the power gain from each drum into each microphone, the mean power of each track, and the
    power of its own drum, summed over all frames. */
class BinGains
{
public:
    BinGains (std::size_t numBins, std::size_t tracks)
        : numTracks (tracks), gains (numBins * tracks * tracks), meanPowers (numBins * tracks),
          drumPowers (numBins * tracks)
    {
    }

    /** M x M for M tracks: entry i * M + j is the gain from drum j into microphone i. */
    [[nodiscard]] std::span<float> gainsOf (std::size_t bin)
    {
        return std::span (gains).subspan (bin * numTracks * numTracks, numTracks * numTracks);
    }

    [[nodiscard]] float gain (std::size_t bin, std::size_t microphone, std::size_t drum) const
    {
        return gains[(bin * numTracks + microphone) * numTracks + drum];
    }

    [[nodiscard]] float& meanPower (std::size_t bin, std::size_t track)
    {
        return meanPowers[bin * numTracks + track];
    }

    [[nodiscard]] float meanPower (std::size_t bin, std::size_t track) const
    {
        return meanPowers[bin * numTracks + track];
    }

    [[nodiscard]] double& drumPower (std::size_t bin, std::size_t track)
    {
        return drumPowers[bin * numTracks + track];
    }

    [[nodiscard]] double drumPower (std::size_t bin, std::size_t track) const
    {
        return drumPowers[bin * numTracks + track];
    }

private:
    std::size_t numTracks;
    std::vector<float> gains, meanPowers;
    std::vector<double> drumPowers;
};

class CommonHits;

struct FittedTrack
{
    LogRatioTiles logRatios;
    Plane spareForRatios, spareForMask; // no longer in use
    SeparationEvidence evidence;        // summed up over bands, and then weighed
};

struct FittedModel
{
    std::vector<FittedTrack> tracks;
    BinGains bins;
    std::vector<std::vector<float>> totals; // this and the next as in GatheredPowers
    SilentFrames silent;
    DrumPowers drums;
};

/** Fits the interference model band by band. */
[[nodiscard]] std::optional<FittedModel> fitModel (RefinementRun& run,
                                                   GatheredPowers powers,
                                                   const TwinMicrophones& twins,
                                                   const CommonHits& common,
                                                   ProgressRange progress);

/** Bytes that a worker holds meanwhile, at least the room for one bin of all tracks. */
[[nodiscard]] std::uint64_t modelBytes (const SpectrumShape& shape, std::size_t numTracks);

/** Weighs the evidence of all tracks that are rendered, and fills their findings' leakage. */
[[nodiscard]] bool weighEvidence (RefinementRun& run, FittedModel& model, ProgressRange progress);

/** Makes a track's mask of its log ratios, and puts these into blocks; the plane of their tiles is free
    then. */
[[nodiscard]] std::optional<std::pair<MaskPlane, LogRatioPlane>>
computeMask (RefinementRun& run, FittedTrack& fitted, ProgressRange progress);

/** Compares the standard output at every whole Focus with the masked track and fills the track's findings:
    matches, the best match up to every Focus, and the Focus to suggest. */
[[nodiscard]] bool matchFocus (RefinementRun& run,
                               std::size_t track,
                               const MaskPlane& mask,
                               std::span<const float> totals,
                               ProgressRange progress);

/** Whether a drum was found in a matched track, well enough to be subtracted from the others. */
[[nodiscard]] bool isDrumFound (const TrackFindings& findings);

/** Share of what the layers of a matched track remove that is to go, 0..1: its confidence, and less where so
    little would go that the mask errs more than it mends, 0 at 45 dB below the track, all from 42 dB on. */
[[nodiscard]] double supportedEffect (const TrackFindings& findings);

using Masks = std::vector<std::optional<MaskPlane>>;        // by track; none for tracks that pass through
using Remainders = std::vector<std::optional<SamplePlane>>; // by track; none where nothing was subtracted

/** The low band of tracks; none for tracks that have no part in it. */
struct LowSignals
{
    explicit LowSignals (std::size_t numTracks) : drums (numTracks), microphones (numTracks) {}

    std::vector<std::optional<LowSignal>> drums;       // masked tracks that are subtracted from the others
    std::vector<std::optional<LowSignal>> microphones; // what is left of them, see LowPaths.h
};

/** Subtracts from every microphone what the masked drums of the others give in it (LeakagePaths), phase and
    all. A mask can only turn down a bin in which the own drum and leakage sound together; this takes the
    leakage out from under the drum. What remains, above all its own drum, is what the layers are made of.
    Masked drums and remainders also come as low-band signals. */
[[nodiscard]] std::optional<Remainders> subtractLeakage (
    RefinementRun& run, FittedModel& model, const Masks& masks, LowSignals& low, ProgressRange progress);

/** Weighs what the subtraction has left of all tracks, for their gains, and what it took, for how sure the
    findings are. */
[[nodiscard]] bool weighRemainders (RefinementRun& run, FittedModel& model, ProgressRange progress);

/** The bleed map with every Focus at what the source holds, without the frames in which a microphone is
    muted or past its end. M^2 multiplications and divisions a band and frame. */
[[nodiscard]] std::optional<BleedMap>
mapSources (RefinementRun& run, const FittedModel& model, ProgressRange progress);

/** What the gains of a track's layers are made of. */
struct LayerEvidence
{
    const MaskPlane& mask;
    const LogRatioPlane& logRatios;
    const SeparationEvidence& bands;
    const DrumPowers& drums;
};

/** Last pass: writes the components of a track, whose whole Focus values are the refined layers, and fills
    the track's row of the map with what each of them leaves. The layers are made of what is left once the low
    band of the leakage that the subtraction missed, if given, is gone too. */
[[nodiscard]] bool writeLayers (RefinementRun& run,
                                std::size_t track,
                                const LayerEvidence& evidence,
                                const std::optional<SamplePlane>& remainder,
                                const std::optional<LowSignal>& lowLeakage,
                                BleedMap& map,
                                ProgressRange progress);

} // namespace tessivar::refinement
