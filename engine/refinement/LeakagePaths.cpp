#include "engine/refinement/LeakagePaths.h"

#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/SpectralKernels.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numeric>

namespace tessivar::refinement
{

namespace
{
constexpr std::uint64_t frameRoom = std::uint64_t{ 80 } << 20; // bytes
constexpr std::size_t mostFrames = 2000, mostDrums = 6;
constexpr double leastGain = 1.0e-5;
constexpr float powerFloor = 0.01f;    // of the bin's mean power in the microphone
constexpr float leastPower = 1.0e-12f; // keeps weights finite in digital silence
constexpr std::size_t framesPerItem = 16, binsPerItem = 16;

/** Bytes of a frame of one track: spectrum and mask. */
std::uint64_t bytesOfFrame (const SpectrumShape& shape)
{
    return shape.binStride * (2 * sizeof (float) + sizeof (float));
}

std::size_t framesInRoom (const SpectrumShape& shape, std::size_t numTracks)
{
    const auto room = frameRoom / (bytesOfFrame (shape) * std::max<std::size_t> (1, numTracks));
    return std::min (
        { mostFrames, static_cast<std::size_t> (room), static_cast<std::size_t> (shape.numFrames) });
}

/** Spectra and masks of chosen frames of all tracks that matter. A frame is used together with the one before
    it. */
class ChosenFrames
{
public:
    ChosenFrames (RefinementRun& r,
                  const Masks& m,
                  std::span<const std::vector<float>> totals,
                  const PathEnds& ends)
        : run (r), masks (m), tracks (ends.microphones)
    {
        for (const auto j : ends.drums)
            if (std::find (tracks.begin(), tracks.end(), j) == tracks.end())
                tracks.push_back (j);

        std::sort (tracks.begin(), tracks.end());
        choose (ends.drums, totals);
        spectra.resize (tracks.size());
        gains.resize (tracks.size());

        for (std::size_t n = 0; n < tracks.size(); ++n)
        {
            spectra[n] = AlignedBuffer (frames.size() * 2 * run.shape.binStride);
            gains[n] = AlignedBuffer (frames.size() * run.shape.binStride);
        }
    }

    [[nodiscard]] bool read (ProgressRange progress)
    {
        const auto numPieces = (frames.size() + framesPerItem - 1) / framesPerItem;
        return run.forEach (numPieces * tracks.size(),
                            progress,
                            [&] (std::size_t item, Workspace& w)
                            {
                                const auto first = item / tracks.size() * framesPerItem;
                                const auto end = std::min (first + framesPerItem, frames.size());

                                for (auto n = first; n < end; ++n)
                                    if (const auto status = readFrame (item % tracks.size(), n, w);
                                        status != AnalysisStatus::completed)
                                        return status;

                                return AnalysisStatus::completed;
                            });
    }

    /** Number of frames in use, and of values in a row(). */
    [[nodiscard]] std::size_t size() const { return used.size(); }

    /** A bin of the track under its mask, or as it is, in the frames that are used or the ones before them:
        real parts, and behind them imaginary ones. */
    void row (float* dest, std::size_t track, std::size_t bin, bool isMasked, bool isBefore) const
    {
        const auto n = static_cast<std::size_t> (std::lower_bound (tracks.begin(), tracks.end(), track)
                                                 - tracks.begin());

        for (std::size_t u = 0; u < used.size(); ++u)
        {
            const auto at = position (used[u] - (isBefore ? 1 : 0), bin);
            const auto* x = spectra[n].data() + 2 * at;
            const auto gain = isMasked ? gains[n][at] : 1.0f;
            dest[u] = gain * x[0];
            dest[used.size() + u] = gain * x[1];
        }
    }

private:
    /** Where a bin lies: frame after frame by sixteen neighbouring bins, so that a bin's frames are read in
        order. */
    [[nodiscard]] std::size_t position (std::size_t frame, std::size_t bin) const
    {
        return (bin / binsPerItem * frames.size() + frame) * binsPerItem + bin % binsPerItem;
    }

    /** The loudest frames, with each track's power relative to its sum, so that drums that seldom play count
        as much. */
    void choose (std::span<const std::size_t> drums, std::span<const std::vector<float>> totals)
    {
        const auto numFrames = static_cast<std::size_t> (run.shape.numFrames);
        std::vector<double> loudness (numFrames);

        for (const auto j : drums)
        {
            const auto sum = std::accumulate (totals[j].begin(), totals[j].end(), 0.0);

            for (std::size_t t = 0; t < numFrames && sum > 0.0; ++t)
                loudness[t] += static_cast<double> (totals[j][t]) / sum;
        }

        std::vector<std::uint32_t> order (numFrames);
        std::iota (order.begin(), order.end(), 0u);
        std::sort (order.begin(),
                   order.end(),
                   [&] (std::uint32_t a, std::uint32_t b)
                   { return loudness[a] > loudness[b] || (! (loudness[a] < loudness[b]) && a < b); });

        const auto room = framesInRoom (run.shape, tracks.size());
        std::vector<char> isNeeded (numFrames), isUsed (numFrames);
        std::size_t numNeeded = 0;

        for (const auto t : order)
        {
            if (t == 0 || loudness[t] <= 0.0)
                continue;

            const std::size_t added = (isNeeded[t] == 0 ? 1u : 0u) + (isNeeded[t - 1] == 0 ? 1u : 0u);

            if (numNeeded + added > room)
                break;

            numNeeded += added;
            isNeeded[t] = isNeeded[t - 1] = isUsed[t] = 1;
        }

        for (std::size_t t = 0; t < numFrames; ++t)
        {
            if (isUsed[t] != 0)
                used.push_back (frames.size());

            if (isNeeded[t] != 0)
                frames.push_back (static_cast<std::int64_t> (t));
        }
    }

    [[nodiscard]] AnalysisStatus readFrame (std::size_t n, std::size_t frame, Workspace& w)
    {
        const auto& shape = run.shape;
        const auto t = frames[frame];
        auto& codes = w.codes[0];
        codes.resize (std::max (codes.size(), shape.binStride));

        if (! readFrames (*run.tracks[tracks[n]].source, shape, { t, t + 1 }, w.source))
            return AnalysisStatus::readFailed;

        w.sourceFrames.analyse (w.source.data());

        for (std::size_t f = 0; f < shape.numBins; f += binsPerItem)
            std::copy_n (w.sourceFrames.spectrum() + 2 * f,
                         2 * std::min (binsPerItem, shape.numBins - f),
                         spectra[n].data() + 2 * position (frame, f));

        // Only rendered tracks have a mask, and only they are among the drums.
        const auto& mask = masks[tracks[n]];

        if (! mask)
            return AnalysisStatus::completed;

        if (! mask->read (t, std::span (codes).first (shape.binStride)))
            return AnalysisStatus::storageFailed;

        kernels::maskGains (w.gains.data(), codes.data(), LeakagePaths::maskExponent, shape.binStride);

        for (std::size_t f = 0; f < shape.binStride; f += binsPerItem)
            std::copy_n (w.gains.data() + f, binsPerItem, gains[n].data() + position (frame, f));

        return AnalysisStatus::completed;
    }

    RefinementRun& run;
    const Masks& masks;
    std::vector<std::size_t> tracks, used; // used: indices into frames
    std::vector<std::int64_t> frames;      // ascending
    std::vector<AlignedBuffer> spectra, gains;
};

/** Solves A x = b for a Hermitian positive definite A (row-major, of which the lower triangle is read) by its
    Cholesky factorization, in place; false where A is not positive definite. */
bool solve (std::vector<std::complex<double>>& a, std::vector<std::complex<double>>& b)
{
    const auto n = b.size();

    for (std::size_t j = 0; j < n; ++j)
    {
        for (std::size_t i = j; i < n; ++i)
        {
            auto sum = a[i * n + j];

            for (std::size_t k = 0; k < j; ++k)
                sum -= a[i * n + k] * std::conj (a[j * n + k]);

            if (i > j)
                a[i * n + j] = sum / a[j * n + j].real();
            else if (! (sum.real() > 0.0))
                return false;
            else
                a[j * n + j] = std::sqrt (sum.real());
        }

        for (std::size_t k = 0; k < j; ++k)
            b[j] -= a[j * n + k] * b[k];

        b[j] /= a[j * n + j].real();
    }

    for (auto j = n; j-- > 0;)
    {
        for (auto k = j + 1; k < n; ++k)
            b[j] -= std::conj (a[k * n + j]) * b[k];

        b[j] /= a[j * n + j].real();
    }

    return true;
}

/** The paths of one bin. */
class BinFit
{
public:
    BinFit (const BinGains& g, const PathEnds& e, const ChosenFrames& f)
        : gains (g), ends (e), frames (f), drums (ends.drums.size() * LeakagePaths::numTaps * 2 * f.size()),
          weighted (2 * f.size()), turned (2 * f.size()), target (2 * f.size()), weights (f.size())
    {
    }

    void fit (std::size_t bin, LeakagePaths& paths)
    {
        for (std::size_t d = 0; d < ends.drums.size(); ++d)
            for (std::size_t tap = 0; tap < LeakagePaths::numTaps; ++tap)
                frames.row (drum (d, tap), ends.drums[d], bin, true, tap == 1);

        for (const auto i : ends.microphones)
            fit (bin, i, paths);
    }

private:
    [[nodiscard]] float* drum (std::size_t d, std::size_t tap)
    {
        return drums.data() + (d * LeakagePaths::numTaps + tap) * 2 * frames.size();
    }

    /** The drums that the microphone hears, as indices into ends.drums. */
    [[nodiscard]] std::vector<std::size_t> heard (std::size_t bin, std::size_t microphone) const
    {
        std::vector<std::pair<double, std::size_t>> found;

        for (std::size_t d = 0; d < ends.drums.size(); ++d)
            if (const auto j = ends.drums[d]; j != microphone)
                if (const auto gain = gains.gain (bin, microphone, j); gain > leastGain)
                    found.emplace_back (-gain * gains.meanPower (bin, j), d);

        std::sort (found.begin(), found.end());
        found.resize (std::min (found.size(), mostDrums));
        std::vector<std::size_t> result;

        for (const auto& [power, d] : found)
            result.push_back (d);

        return result;
    }

    /** The reciprocal of what the microphone's own drum has in each frame, over a floor. */
    void weigh (std::size_t bin, std::size_t microphone)
    {
        const auto n = frames.size();
        std::fill (
            weights.begin(), weights.end(), powerFloor * gains.meanPower (bin, microphone) + leastPower);

        for (const auto isBefore : { false, true })
        {
            frames.row (weighted.data(), microphone, bin, true, isBefore);

            for (std::size_t t = 0; t < n; ++t)
                weights[t] += 0.5f * (weighted[t] * weighted[t] + weighted[n + t] * weighted[n + t]);
        }

        for (auto& weight : weights)
            weight = 1.0f / weight;
    }

    void fit (std::size_t bin, std::size_t microphone, LeakagePaths& paths)
    {
        const auto chosen = heard (bin, microphone);
        const auto n = frames.size(), size = chosen.size() * LeakagePaths::numTaps;

        if (size == 0 || n == 0)
            return;

        weigh (bin, microphone);
        frames.row (target.data(), microphone, bin, false, false);
        matrix.assign (size * size, {});
        right.assign (size, {});

        for (std::size_t a = 0; a < size; ++a)
        {
            const auto d = chosen[a / LeakagePaths::numTaps];
            const auto* row = drum (d, a % LeakagePaths::numTaps);

            // weighted . b and turned . b are the real and the imaginary part of sum W conj (a) b.
            for (std::size_t t = 0; t < n; ++t)
            {
                weighted[t] = weights[t] * row[t];
                weighted[n + t] = weights[t] * row[n + t];
                turned[t] = -weighted[n + t];
                turned[n + t] = weighted[t];
            }

            const auto product = [&] (const float* b)
            {
                return std::complex<double> (kernels::dotProduct (weighted.data(), b, 2 * n),
                                             kernels::dotProduct (turned.data(), b, 2 * n));
            };

            for (std::size_t b = 0; b <= a; ++b)
                matrix[a * size + b] =
                    product (drum (chosen[b / LeakagePaths::numTaps], b % LeakagePaths::numTaps));

            matrix[a * size + a] += 1.0 / gains.gain (bin, microphone, ends.drums[d]);
            right[a] = product (target.data());
        }

        const auto isFinite = [] (const std::complex<double>& value)
        { return std::isfinite (value.real()) && std::isfinite (value.imag()); };

        if (! solve (matrix, right) || ! std::all_of (right.begin(), right.end(), isFinite))
            return;

        for (std::size_t a = 0; a < size; ++a)
        {
            const auto j = ends.drums[chosen[a / LeakagePaths::numTaps]];
            const auto tap = a % LeakagePaths::numTaps;
            auto* row = paths.row (microphone, j, tap);
            row[bin] = static_cast<float> (right[a].real());
            row[paths.binStride + bin] = static_cast<float> (right[a].imag());
        }
    }

    const BinGains& gains;
    const PathEnds& ends;
    const ChosenFrames& frames;
    std::vector<float> drums, weighted, turned, target, weights;
    std::vector<std::complex<double>> matrix, right;
};
} // namespace

bool fitPaths (RefinementRun& run,
               const FittedModel& model,
               const Masks& masks,
               const PathEnds& ends,
               LeakagePaths& paths,
               ProgressRange progress)
{
    ChosenFrames frames (run, masks, model.totals, ends);

    if (! frames.read (progress.part (0.0, 0.5)))
        return false;

    const auto numBins = run.shape.numBins;
    return run.forEach ((numBins + binsPerItem - 1) / binsPerItem,
                        progress.part (0.5, 1.0),
                        [&] (std::size_t item, Workspace&)
                        {
                            BinFit bin (model.bins, ends, frames);
                            const auto first = item * binsPerItem;

                            for (auto f = first; f < std::min (first + binsPerItem, numBins); ++f)
                            {
                                if (run.control.stopRequested())
                                    return AnalysisStatus::stopped;

                                bin.fit (f, paths);
                            }

                            return AnalysisStatus::completed;
                        });
}

std::uint64_t pathBytes (const SpectrumShape& shape, std::size_t numTracks)
{
    return framesInRoom (shape, numTracks) * bytesOfFrame (shape) * numTracks
           + sizeof (float) * numTracks * numTracks * LeakagePaths::numTaps * 2 * shape.binStride;
}

} // namespace tessivar::refinement
