#include "engine/refinement/DrumPowers.h"

#include "engine/numerics/simd/InterferenceKernels.h"
#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/PackingKernels.h"
#include "engine/refinement/RefinementPasses.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

namespace tessivar::refinement
{

namespace
{
constexpr float mostAboveModel = 10.0f; // a louder leakage comes from what has no microphone

std::size_t framesOfSegments (const SpectrumShape& shape)
{
    return static_cast<std::size_t> (shape.numSegments) * tileFrames;
}
} // namespace

DrumPowers::DrumPowers (const RefinementRun& run,
                        const BinGains& bins,
                        std::vector<SeparationEvidence>& evidence)
    : bands (&run.bands), tracks (run.tracks.size()), rowFrames (framesOfSegments (run.shape)),
      gains (bands->count() * tracks * tracks), trackPowers (tracks * bands->count()),
      powers (tracks * bands->count() * rowFrames)
{
    const auto numFrames = static_cast<std::size_t> (run.shape.numFrames);

    for (std::size_t band = 0; band < bands->count(); ++band)
    {
        const auto hertz = static_cast<double> (bands->firstBin (band)) * run.shape.binWidthHz();
        const auto& borders = BleedMap::bandBorders;
        mapBands.push_back (static_cast<std::size_t> (std::upper_bound (borders.begin(), borders.end(), hertz)
                                                      - borders.begin()));

        for (std::size_t j = 0; j < tracks; ++j)
        {
            const auto row = j * bands->count() + band;
            const auto* const own = evidence[j].own (band);
            auto* const packed = powers.data() + row * rowFrames;
            kernels::packPowers (packed, own, own, 0.0f, rowFrames);
            // Frames that only fill the last segment.
            std::fill (packed + numFrames, packed + rowFrames, std::uint16_t{ 0 });
            trackPowers[row] = kernels::rowSum (evidence[j].total (band), numFrames);
            auto whole = 0.0;

            for (auto bin = bands->firstBin (band); bin < bands->endBin (band); ++bin)
                whole += bins.drumPower (bin, j);

            for (std::size_t i = 0; i < tracks && whole > 0.0; ++i)
            {
                auto arriving = 0.0;

                for (auto bin = bands->firstBin (band); bin < bands->endBin (band); ++bin)
                    arriving += static_cast<double> (bins.gain (bin, i, j)) * bins.drumPower (bin, j);

                gains[(band * tracks + i) * tracks + j] = static_cast<float> (arriving / whole);
            }
        }
    }
}

void DrumPowers::Block::load (std::size_t microphone, std::size_t band, std::size_t frame)
{
    auto* const all = rows.data() + drums.tracks * blockFrames;
    std::fill_n (all, blockFrames, 0.0f);

    for (std::size_t j = 0; j < drums.tracks; ++j)
    {
        auto* const row = rows.data() + j * blockFrames;
        const auto gain = drums.gains[(band * drums.tracks + microphone) * drums.tracks + j];
        kernels::unpackPowers (row,
                               drums.powers.data() + (j * drums.bands->count() + band) * drums.rowFrames
                                   + frame,
                               blockFrames);

        for (std::size_t l = 0; l < blockFrames; ++l)
        {
            row[l] *= gain;
            all[l] += j == microphone ? 0.0f : row[l];
        }
    }
}

std::uint64_t bleedBytes (const SpectrumShape& shape, std::size_t numTracks)
{
    const auto frames = framesOfSegments (shape);
    return sizeof (std::uint16_t) * EvidenceBands (shape.numBins, shape.binWidthHz()).count() * frames
               * numTracks
           + sizeof (float) * frames / blockFrames * static_cast<std::size_t> (numFocusSteps) * numTracks
                 * BleedMap::numBands;
}

std::optional<BleedMap> mapSources (RefinementRun& run, const FittedModel& model, ProgressRange progress)
{
    const auto numTracks = run.tracks.size(), numFrames = static_cast<std::size_t> (run.shape.numFrames);
    BleedMap map (numTracks);

    const auto fillRow = [&] (std::size_t i, Workspace&)
    {
        const auto& evidence = model.tracks[i].evidence;
        const auto end =
            std::min (numFrames, static_cast<std::size_t> (run.shape.hopsOf (run.tracks[i].ownLength)) + 3);
        DrumPowers::Block block (model.drums);
        std::vector<double> sums (numTracks * BleedMap::numBands);

        for (std::size_t band = 0; band < run.bands.count(); ++band)
        {
            auto* const dest = sums.data() + model.drums.mapBand (band) * numTracks;
            auto foreign = 0.0;

            for (std::size_t first = 0; first < end; first += blockFrames)
            {
                block.load (i, band, first);

                for (std::size_t l = 0; l < std::min (blockFrames, end - first); ++l)
                {
                    if (model.silent.isSilent (i, first + l))
                        continue;

                    const auto modelled = block.leakage()[l];
                    const auto taken =
                        evidence.isSubtracted() ? evidence.foreign (band)[first + l] : modelled;
                    const auto scale = static_cast<double> (
                        modelled > 0.0f ? std::min (taken / modelled, mostAboveModel) : 0.0f);
                    foreign += static_cast<double> (taken);

                    for (std::size_t j = 0; j < numTracks; ++j)
                        if (j != i)
                            dest[j] += scale * static_cast<double> (block.drum (j)[l]);
                }
            }

            dest[i] += std::max (model.drums.trackPower (i, band) - foreign, 0.0);
        }

        for (std::size_t j = 0; j < numTracks; ++j)
            for (std::size_t band = 0; band < BleedMap::numBands; ++band)
                for (std::size_t focus = 0; focus < BleedMap::numFocusSteps; ++focus)
                    map.power (i, j, band, focus) = static_cast<float> (sums[band * numTracks + j]);

        return AnalysisStatus::completed;
    };

    return run.forEach (numTracks, progress, fillRow) ? std::optional (std::move (map)) : std::nullopt;
}

BleedRow::BleedRow (const DrumPowers& d, std::size_t track, float share, std::int64_t blocks)
    : drums (d), microphone (track), numBlocks (static_cast<std::size_t> (blocks)),
      effect (static_cast<double> (share)), sums (indexOf (numBlocks, 0))
{
}

void BleedRow::add (
    std::int64_t block, std::size_t layer, const float* foreign, const float* powers, const float* layerGains)
{
    const auto& bands = drums.evidenceBands();
    auto* const dest = sums.data() + indexOf (static_cast<std::size_t> (block), layer);
    DrumPowers::Block model (drums);
    AlignedBuffer kept (2 * blockFrames);

    for (std::size_t band = 0; band < bands.count(); ++band)
    {
        const auto first = bands.firstBin (band) * blockFrames;
        kernels::keptPowers (kept.data(),
                             foreign + first,
                             powers + first,
                             layerGains + first,
                             bands.endBin (band) - bands.firstBin (band));
        model.load (microphone, band, static_cast<std::size_t> (block) * blockFrames);
        std::array<float, blockFrames> scales{};

        for (std::size_t l = 0; l < blockFrames; ++l)
            if (const auto modelled = model.leakage()[l]; modelled > 0.0f)
                scales[l] = std::min (kept[l] / modelled, mostAboveModel);

        for (std::size_t j = 0; j < drums.numTracks(); ++j)
        {
            auto sum = 0.0f;

            for (std::size_t l = 0; l < blockFrames; ++l)
                sum += j == microphone ? kept[blockFrames + l] : scales[l] * model.drum (j)[l];

            dest[j * BleedMap::numBands + drums.mapBand (band)] += sum;
        }
    }
}

void BleedRow::conclude (BleedMap& map, std::size_t focus, std::size_t layer) const
{
    for (std::size_t j = 0; j < drums.numTracks(); ++j)
        for (std::size_t band = 0; band < BleedMap::numBands; ++band)
        {
            auto left = 0.0;

            for (std::size_t block = 0; block < numBlocks; ++block)
                left += static_cast<double> (sums[indexOf (block, layer) + j * BleedMap::numBands + band]);

            const auto all = static_cast<double> (map.power (microphone, j, band, 0));
            const auto amplitude =
                all > 0.0 ? 1.0 + effect * (std::sqrt (std::min (1.0, left / all)) - 1.0) : 0.0;
            map.power (microphone, j, band, focus) = static_cast<float> (amplitude * amplitude * all);
        }
}

} // namespace tessivar::refinement
