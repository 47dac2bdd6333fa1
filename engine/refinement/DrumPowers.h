#pragma once

#include "engine/numerics/AlignedBuffer.h"
#include "engine/refinement/RefinementSpectra.h"
#include "engine/refinement/SeparationEvidence.h"
#include "terms/BleedMap.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar::refinement
{

class BinGains;
class RefinementRun;

/** The fitted power of every drum by band of the evidence and frame, in 16 bits, and by band the mean gain
    from each drum into each microphone and the power of each track: what the bleed map is made of.

    The model's gains are wary: what a quiet fifth of a drum's loudest frames allows. They tell whose
    leakage a microphone holds, not how much of it there is; that is what its mask takes, as far as ten
    times the model's. */
class DrumPowers
{
public:
    /** Of a fitted model, whose evidence is not yet weighed. */
    DrumPowers (const RefinementRun& run, const BinGains& bins, std::vector<SeparationEvidence>& evidence);

    [[nodiscard]] std::size_t numTracks() const { return tracks; }
    [[nodiscard]] const EvidenceBands& evidenceBands() const { return *bands; }

    /** The band of the map that holds a band of the evidence. */
    [[nodiscard]] std::size_t mapBand (std::size_t band) const { return mapBands[band]; }

    /** Sum over all frames. */
    [[nodiscard]] double trackPower (std::size_t track, std::size_t band) const
    {
        return trackPowers[track * bands->count() + band];
    }

    /** Powers of sixteen frames of a band in a microphone, as the model has them: drum after drum, and
        then the leakage of all. */
    class Block
    {
    public:
        explicit Block (const DrumPowers& drumPowers)
            : drums (drumPowers), rows ((drums.tracks + 1) * blockFrames)
        {
        }

        void load (std::size_t microphone, std::size_t band, std::size_t frame);

        [[nodiscard]] std::span<const float> drum (std::size_t index) const
        {
            return rows.span().subspan (index * blockFrames, blockFrames);
        }

        [[nodiscard]] std::span<const float> leakage() const { return drum (drums.tracks); }

    private:
        const DrumPowers& drums;
        AlignedBuffer rows;
    };

private:
    const EvidenceBands* bands;
    std::size_t tracks, rowFrames;
    std::vector<float> gains; // by band, microphone and drum
    std::vector<double> trackPowers;
    std::vector<std::size_t> mapBands;
    std::vector<std::uint16_t> powers; // by drum, band and frame
};

/** Bytes that the powers take, and a row of the map while its layers are written. */
[[nodiscard]] std::uint64_t bleedBytes (const SpectrumShape& shape, std::size_t numTracks);

/** A microphone's row of the map, while its layers are written: sums over blocks, which are added up in
    their order at the end. Eight flops a bin, frame and layer, and about thirty a bin and frame for what
    the mask calls leakage; 48 M floats a block. */
class BleedRow
{
public:
    /** effect: the share of the layers that takes place, 0..1. */
    BleedRow (const DrumPowers& drums, std::size_t microphone, float effect, std::int64_t numBlocks);

    /** What a layer keeps of a block: its power before the gains, the part of that which is leakage, and the
        gains, in lane layout. Each block of a layer once, in any order, from several threads. */
    void add (std::int64_t block,
              std::size_t layer,
              const float* foreign,
              const float* powers,
              const float* layerGains);

    /** Writes what this Focus, which the layer stands for, leaves of all drums. */
    void conclude (BleedMap& map, std::size_t focus, std::size_t layer) const;

private:
    [[nodiscard]] std::size_t indexOf (std::size_t block, std::size_t layer) const
    {
        return (block * static_cast<std::size_t> (numFocusSteps) + layer) * drums.numTracks()
               * BleedMap::numBands;
    }

    const DrumPowers& drums;
    const std::size_t microphone, numBlocks;
    const double effect;
    std::vector<float> sums; // by block, layer, drum and band of the map
};

} // namespace tessivar::refinement
