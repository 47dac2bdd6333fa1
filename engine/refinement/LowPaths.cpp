#include "engine/refinement/LowPaths.h"

#include "engine/numerics/simd/PathKernels.h"
#include "engine/refinement/NormalEquations.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <utility>

namespace tessivar::refinement
{

namespace
{
constexpr double highestFrequency = 600.0;
constexpr std::size_t longPerBin = LowTransforms::longLength / lowBand::frameLength;
constexpr std::size_t mostLongBins = 28 * longPerBin; // above, the low band fades out
constexpr std::size_t mostParts = 8;
constexpr std::size_t framesPerDrum = 4; // that a take needs at least
constexpr double ridge = 1.0e-3;         // of the drums' mean power
constexpr float leastGain = 1.0e-5f;     // of the interference model

using Complex = std::complex<double>;

/** Long frames whose bins are fitted, in blocks of sixteen. */
struct LongFrames
{
    explicit LongFrames (const SpectrumShape& shape)
        : numFrames ((LowSignal::numSamples (shape) + LowTransforms::longHop - 1) / LowTransforms::longHop
                     + 3),
          numBlocks ((numFrames + blockFrames - 1) / blockFrames), numParts (std::min (numBlocks, mostParts)),
          numBins (std::min (mostLongBins,
                             static_cast<std::size_t> (highestFrequency * static_cast<double> (longPerBin)
                                                       / shape.binWidthHz())))
    {
    }

    [[nodiscard]] std::size_t firstBlock (std::size_t part) const { return part * numBlocks / numParts; }

    std::size_t numFrames, numBlocks, numParts, numBins;
};

std::vector<std::size_t> indicesOf (const std::vector<std::optional<LowSignal>>& signals)
{
    std::vector<std::size_t> indices;

    for (std::size_t i = 0; i < signals.size(); ++i)
        if (signals[i])
            indices.push_back (i);

    return indices;
}

/** Products of the long frames' spectra, by bin: of every two drums, and of every drum and microphone. */
class ProductSums
{
public:
    ProductSums (std::size_t drums, std::size_t microphones, std::size_t bins)
        : numDrums (drums), numOfBin (drums * (drums + 1) / 2 + microphones * drums), values (bins * numOfBin)
    {
    }

    /** Of the conjugate of drum a with drum b, b <= a. */
    [[nodiscard]] Complex& ofDrums (std::size_t bin, std::size_t a, std::size_t b)
    {
        return values[bin * numOfBin + a * (a + 1) / 2 + b];
    }

    /** Of the conjugate of a microphone with a drum. */
    [[nodiscard]] Complex& ofMicrophone (std::size_t bin, std::size_t microphone, std::size_t drum)
    {
        return values[bin * numOfBin + numDrums * (numDrums + 1) / 2 + microphone * numDrums + drum];
    }

    void add (const ProductSums& other)
    {
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] += other.values[i];
    }

private:
    std::size_t numDrums, numOfBin;
    std::vector<Complex> values;
};

/** Fits the paths and predicts what they give. */
class LowPaths
{
public:
    LowPaths (RefinementRun& r, const BinGains& binGains, const SilentFrames& silence, LowSignals& signals)
        : run (r), gains (binGains), silent (silence), low (signals), drums (indicesOf (signals.drums)),
          microphones (indicesOf (signals.microphones)), frames (r.shape),
          taps (2 * frames.numBins * drums.size() * microphones.size())
    {
        std::vector<std::size_t> unmuted;

        for (std::size_t i = 0; i < microphones.size(); ++i)
            if (silent.isEverSilent (microphones[i]))
                ensembles.push_back ({ i });
            else
                unmuted.push_back (i);

        if (! unmuted.empty())
            ensembles.push_back (std::move (unmuted));
    }

    [[nodiscard]] bool isLongEnough() const { return frames.numFrames >= framesPerDrum * drums.size(); }

    [[nodiscard]] bool fit (ProgressRange progress)
    {
        std::vector<std::vector<ProductSums>> parts (frames.numParts);

        for (auto& sums : parts)
            for (const auto& ensemble : ensembles)
                sums.emplace_back (drums.size(), ensemble.size(), frames.numBins);

        if (! run.forEach (parts.size(),
                           progress,
                           [&] (std::size_t part, Workspace& w) { return sumUp (part, parts[part], w); }))
            return false;

        for (std::size_t e = 0; e < ensembles.size(); ++e)
        {
            for (std::size_t part = 1; part < parts.size(); ++part)
                parts[0][e].add (parts[part][e]);

            for (std::size_t bin = 0; bin < frames.numBins; ++bin)
                for (std::size_t n = 0; n < ensembles[e].size(); ++n)
                    fit (bin, ensembles[e][n], n, parts[0][e]);
        }

        return true;
    }

    /** Puts what the paths give in the place of the microphones. */
    [[nodiscard]] bool predict (ProgressRange progress)
    {
        return run.forEach (
            frames.numParts, progress, [&] (std::size_t part, Workspace& w) { return predict (part, w); });
    }

private:
    [[nodiscard]] static std::vector<AlignedBuffer> spectra (std::size_t count, const Workspace& w)
    {
        std::vector<AlignedBuffer> made;

        for (std::size_t n = 0; n < count; ++n)
            made.emplace_back (w.low.longSpectrumFloats());

        return made;
    }

    [[nodiscard]] AnalysisStatus sumUp (std::size_t part, std::span<ProductSums> sums, Workspace& w)
    {
        auto rows = spectra (drums.size() + microphones.size(), w);

        for (auto block = frames.firstBlock (part); block < frames.firstBlock (part + 1); ++block)
        {
            if (run.control.stopRequested())
                return AnalysisStatus::stopped;

            for (std::size_t n = 0; n < rows.size(); ++n)
                w.low.forwardLong (n < drums.size() ? *low.drums[drums[n]]
                                                    : *low.microphones[microphones[n - drums.size()]],
                                   static_cast<std::int64_t> (block * blockFrames),
                                   rows[n]);

            for (std::size_t e = 0; e < ensembles.size(); ++e)
                sumUp (block, ensembles[e], rows, sums[e]);
        }

        return AnalysisStatus::completed;
    }

    void sumUp (std::size_t block,
                std::span<const std::size_t> ensemble,
                std::span<const AlignedBuffer> rows,
                ProductSums& sums)
    {
        const auto numRows = drums.size() + ensemble.size();
        std::vector<const float*> real (numRows), imaginary (numRows);
        std::vector<float> products (2 * numRows * numRows), weights (blockFrames, 1.0f);

        for (std::size_t l = 0; l < blockFrames; ++l)
            weights[l] = isSilent (microphones[ensemble[0]], block * blockFrames + l) ? 0.0f : 1.0f;

        for (std::size_t bin = 0; bin < frames.numBins; ++bin)
        {
            for (std::size_t n = 0; n < numRows; ++n)
            {
                const auto row = n < drums.size() ? n : drums.size() + ensemble[n - drums.size()];
                real[n] = rows[row].data() + 2 * bin * blockFrames;
                imaginary[n] = real[n] + blockFrames;
            }

            kernels::weightedProducts (
                products.data(), real.data(), imaginary.data(), numRows, weights.data(), blockFrames);
            const auto product = [&] (std::size_t a, std::size_t b)
            {
                const auto* x = products.data() + 2 * (a * numRows + b);
                return Complex (static_cast<double> (x[0]), static_cast<double> (x[1]));
            };

            for (std::size_t a = 0; a < drums.size(); ++a)
                for (std::size_t b = 0; b <= a; ++b)
                    sums.ofDrums (bin, a, b) += product (a, b);

            for (std::size_t n = 0; n < ensemble.size(); ++n)
            {
                const auto a = drums.size() + n;

                for (std::size_t b = 0; b < drums.size(); ++b)
                    sums.ofMicrophone (bin, n, b) += product (a, b);
            }
        }
    }

    /** Whether a track is muted in any of the method's frames that begin in a long frame. */
    [[nodiscard]] bool isSilent (std::size_t track, std::size_t longFrame) const
    {
        constexpr auto hops = LowTransforms::longHop / lowBand::hop,
                       length = LowTransforms::longLength / lowBand::hop;
        // A long frame begins three of its hops early, one of the method's four.
        const auto first = hops * longFrame - std::min (hops * longFrame, 3 * hops - 4),
                   end = std::min (first + length, static_cast<std::size_t> (run.shape.numFrames));

        for (auto t = first; t < end && silent.isEverSilent (track); ++t)
            if (silent.isNear (track, t))
                return true;

        return false;
    }

    /** Real and imaginary part of a path in a bin. */
    [[nodiscard]] float* tap (std::size_t bin, std::size_t microphone, std::size_t drum)
    {
        return taps.data() + 2 * ((bin * microphones.size() + microphone) * drums.size() + drum);
    }

    /** A microphone's paths in a bin; it is number n of its ensemble. */
    void fit (std::size_t bin, std::size_t i, std::size_t n, ProductSums& sums)
    {
        const auto methodBin = (bin + longPerBin / 2) / longPerBin;
        std::vector<std::size_t> heard;
        auto power = 0.0;

        for (std::size_t d = 0; d < drums.size(); ++d)
            if (drums[d] != microphones[i] && gains.gain (methodBin, microphones[i], drums[d]) > leastGain)
            {
                heard.push_back (d);
                power += sums.ofDrums (bin, d, d).real();
            }

        const auto size = heard.size();
        std::vector<Complex> matrix (size * size), right (size);

        for (std::size_t a = 0; a < size; ++a)
        {
            for (std::size_t b = 0; b <= a; ++b)
                matrix[a * size + b] = sums.ofDrums (bin, heard[a], heard[b]);

            matrix[a * size + a] += ridge * power / static_cast<double> (size);
            right[a] = std::conj (sums.ofMicrophone (bin, n, heard[a]));
        }

        if (! solve (matrix, right))
            return;

        for (std::size_t a = 0; a < size; ++a)
        {
            tap (bin, i, heard[a])[0] = static_cast<float> (right[a].real());
            tap (bin, i, heard[a])[1] = static_cast<float> (right[a].imag());
        }
    }

    [[nodiscard]] AnalysisStatus predict (std::size_t part, Workspace& w)
    {
        auto sources = spectra (drums.size(), w);
        AlignedBuffer sum (w.low.longSpectrumFloats());
        std::vector<OverlapCarry> carries;

        for (std::size_t i = 0; i < microphones.size(); ++i)
            carries.emplace_back (LowTransforms::longHop);

        // The frames of the block before reach into the part.
        const auto first = static_cast<std::int64_t> (frames.firstBlock (part)),
                   end = static_cast<std::int64_t> (frames.firstBlock (part + 1));

        for (auto block = first - 1; block < end; ++block)
        {
            if (run.control.stopRequested())
                return AnalysisStatus::stopped;

            const auto firstFrame = block * static_cast<std::int64_t> (blockFrames);

            for (std::size_t d = 0; d < drums.size(); ++d)
                w.low.forwardLong (*low.drums[drums[d]], firstFrame, sources[d]);

            for (std::size_t i = 0; i < microphones.size(); ++i)
            {
                for (std::size_t bin = 0; bin < frames.numBins; ++bin)
                    predict (sum.data() + 2 * bin * blockFrames, bin, i, sources);

                const auto samples = w.low.overlapLong (sum, carries[i]);

                if (block >= first)
                    low.microphones[microphones[i]]->write (
                        (firstFrame - 3) * static_cast<std::int64_t> (LowTransforms::longHop), samples);
            }
        }

        return AnalysisStatus::completed;
    }

    /** A bin of sixteen frames. */
    void predict (float* sum, std::size_t bin, std::size_t i, std::span<const AlignedBuffer> sources)
    {
        std::fill_n (sum, 2 * blockFrames, 0.0f);

        for (std::size_t d = 0; d < sources.size(); ++d)
        {
            const auto *path = tap (bin, i, d), *re = sources[d].data() + 2 * bin * blockFrames,
                       *im = re + blockFrames;

            for (std::size_t l = 0; l < blockFrames; ++l)
            {
                sum[l] += path[0] * re[l] - path[1] * im[l];
                sum[l + blockFrames] += path[0] * im[l] + path[1] * re[l];
            }
        }
    }

    RefinementRun& run;
    const BinGains& gains;
    const SilentFrames& silent;
    LowSignals& low;
    const std::vector<std::size_t> drums, microphones; // tracks
    const LongFrames frames;
    std::vector<std::vector<std::size_t>> ensembles; // microphones that share their frames
    std::vector<float> taps;
};
} // namespace

bool predictLowLeakage (RefinementRun& run,
                        const BinGains& gains,
                        const SilentFrames& silent,
                        LowSignals& low,
                        ProgressRange progress)
{
    LowPaths paths (run, gains, silent, low);

    if (! paths.isLongEnough())
    {
        std::fill (low.microphones.begin(), low.microphones.end(), std::nullopt);
        return true;
    }

    return paths.fit (progress.part (0.0, 0.5)) && paths.predict (progress.part (0.5, 1.0));
}

std::uint64_t lowPathBytes (const SpectrumShape& shape, std::size_t numTracks)
{
    const auto sums = mostParts * sizeof (Complex) * mostLongBins * numTracks * (3 * numTracks + 1) / 2;
    return 2 * sizeof (float) * numTracks * LowSignal::numSamples (shape) + sums;
}

} // namespace tessivar::refinement
