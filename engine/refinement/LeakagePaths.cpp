#include "engine/refinement/LeakagePaths.h"

#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/PathKernels.h"
#include "engine/refinement/NormalEquations.h"

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
constexpr std::size_t binsPerItem = 16;

/** Bytes of a frame of one track: spectrum and mask. */
std::uint64_t bytesOfFrame (const SpectrumShape& shape)
{
    return kernels::wholeVectors (shape.numBins) * (2 * sizeof (float) + sizeof (float));
}

std::size_t framesInRoom (const SpectrumShape& shape, std::size_t numTracks)
{
    const auto room = frameRoom / (bytesOfFrame (shape) * std::max<std::size_t> (1, numTracks));
    return std::min (
        { mostFrames, static_cast<std::size_t> (room), static_cast<std::size_t> (shape.numFrames) });
}

/** Spectra and masks of chosen frames of all tracks that matter. A frame is used together with the one before
    it, which is chosen too. */
class ChosenFrames
{
public:
    ChosenFrames (RefinementRun& r, const Masks& m, const FittedModel& model, const PathEnds& e)
        : run (r), masks (m), ends (e), silent (model.silent)
    {
        choose (ends.drums, model.totals);
        numValues = kernels::wholeVectors (frames.size());
        used.resize (numValues);

        for (std::size_t n = 0; n < ends.tracks.size(); ++n)
            values.emplace_back (3 * run.shape.numBins * numValues);
    }

    [[nodiscard]] bool read (ProgressRange progress)
    {
        return run.forEach (
            numValues / blockFrames * ends.tracks.size(),
            progress,
            [&] (std::size_t item, Workspace& w)
            { return readBlock (item % ends.tracks.size(), item / ends.tracks.size() * blockFrames, w); });
    }

    /** Values of a row: the chosen frames in ascending order, and zeros up to whole vectors. */
    [[nodiscard]] std::size_t size() const { return numValues; }

    /** A row with 1 for the frames that are used, and 0 for those that only precede one. */
    [[nodiscard]] const float* use() const { return used.data(); }

    /** Sets the values of a row of a track to 0 where it holds nothing. */
    void clearSilence (std::span<float> row, std::size_t track) const
    {
        for (std::size_t n = 0; n < frames.size() && silent.isEverSilent (track); ++n)
            if (silent.isNear (track, static_cast<std::size_t> (frames[n])))
                row[n] = 0.0f;
    }

    /** A bin of one of the tracks at the paths' ends in all chosen frames: a row of real parts, one of
        imaginary parts, and one of gains, the mask's.
    */
    [[nodiscard]] const float* rows (std::size_t track, std::size_t bin) const
    {
        return values[track].data() + bin * 3 * numValues;
    }

private:
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

        const auto room = framesInRoom (run.shape, ends.tracks.size());
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
            if (isNeeded[t] != 0)
            {
                frames.push_back (static_cast<std::int64_t> (t));
                used.push_back (isUsed[t] != 0 ? 1.0f : 0.0f);
            }
    }

    /** Sixteen chosen frames of a track. */
    [[nodiscard]] AnalysisStatus readBlock (std::size_t n, std::size_t first, Workspace& w)
    {
        const auto& shape = run.shape;
        const auto count = std::min (blockFrames, frames.size() - first);
        const auto& mask = masks[ends.tracks[n]];
        auto& codes = w.codes[0];
        codes.resize (std::max (codes.size(), shape.blockCodes()));
        std::int64_t blockInHand = -1;
        const std::uint16_t* blockCodes = nullptr;

        if (! w.load (*run.tracks[ends.tracks[n]].source, std::span (frames).subspan (first, count), shape))
            return AnalysisStatus::readFailed;

        w.fft.forward (w.spectrum.data());

        for (std::size_t l = 0; l < count; ++l)
        {
            const auto t = frames[first + l];
            const auto block = t / static_cast<std::int64_t> (blockFrames);
            const auto lane = static_cast<std::size_t> (t) % blockFrames;

            if (block != blockInHand)
                blockCodes = mask->readBlock (block, w.maskRoom);

            if (blockCodes == nullptr)
                return AnalysisStatus::storageFailed;

            blockInHand = block;

            for (std::size_t bin = 0; bin < shape.numBins; ++bin)
                codes[bin * blockFrames + l] = blockCodes[bin * blockFrames + lane];
        }

        kernels::maskGains (w.gains.data(), codes.data(), LeakagePaths::maskExponent, w.gains.size());

        for (std::size_t bin = 0; bin < shape.numBins; ++bin)
        {
            auto* const row = values[n].data() + bin * 3 * numValues + first;
            std::copy_n (w.spectrum.data() + 2 * bin * blockFrames, blockFrames, row);
            std::copy_n (w.spectrum.data() + (2 * bin + 1) * blockFrames, blockFrames, row + numValues);
            std::copy_n (w.gains.data() + bin * blockFrames, blockFrames, row + 2 * numValues);
        }

        return AnalysisStatus::completed;
    }

    RefinementRun& run;
    const Masks& masks;
    const PathEnds& ends;
    const SilentFrames& silent;
    std::size_t numValues = 0;
    std::vector<std::int64_t> frames; // ascending
    std::vector<float> used;
    std::vector<AlignedBuffer> values; // by track: three rows for each bin
};

using Complex = std::complex<double>;

/** The paths of one bin. */
class BinFit
{
public:
    BinFit (const BinGains& g, const PathEnds& e, const ChosenFrames& f)
        : gains (g), ends (e), frames (f), rowLength (f.size() + kernels::lanes), // zeros before each row
          masked (2 * ends.tracks.size() * rowLength), weights (f.size())
    {
    }

    void fit (std::size_t bin, LeakagePaths& paths)
    {
        for (std::size_t n = 0; n < ends.tracks.size(); ++n)
        {
            const auto *re = frames.rows (n, bin), *im = re + frames.size(), *gain = im + frames.size();
            auto *maskedRe = real (n), *maskedIm = imaginary (n);

            for (std::size_t t = 0, count = frames.size(); t < count; ++t)
            {
                maskedRe[t] = gain[t] * re[t];
                maskedIm[t] = gain[t] * im[t];
            }
        }

        for (std::size_t i = 0; i < ends.microphones.size(); ++i)
            fit (bin, i, paths);
    }

private:
    struct HeardDrum
    {
        double power;
        std::size_t drum; // index into ends.drums
        double gain;
    };

    /** Masked values of one of ends.tracks; those of the frames before begin one value earlier. */
    [[nodiscard]] float* real (std::size_t n) { return masked.data() + 2 * n * rowLength + kernels::lanes; }
    [[nodiscard]] float* imaginary (std::size_t n) { return real (n) + rowLength; }

    /** Index of a track in ends.tracks. */
    [[nodiscard]] std::size_t indexOf (std::size_t track) const
    {
        return static_cast<std::size_t> (std::lower_bound (ends.tracks.begin(), ends.tracks.end(), track)
                                         - ends.tracks.begin());
    }

    /** The drums that the microphone hears, loudest first. */
    [[nodiscard]] std::vector<HeardDrum> heard (std::size_t bin, std::size_t microphone) const
    {
        std::vector<HeardDrum> found;

        for (std::size_t d = 0; d < ends.drums.size(); ++d)
            if (const auto j = ends.drums[d]; j != microphone)
                if (const auto gain = static_cast<double> (gains.gain (bin, microphone, j)); gain > leastGain)
                    found.push_back ({ gain * static_cast<double> (gains.meanPower (bin, j)), d, gain });

        std::stable_sort (found.begin(),
                          found.end(),
                          [] (const HeardDrum& a, const HeardDrum& b) { return a.power > b.power; });
        found.resize (std::min (found.size(), mostDrums));
        return found;
    }

    /** The reciprocal of what the microphone's own drum has in each frame, over a floor; nothing for frames
        that are not used.
    */
    void weigh (std::size_t bin, std::size_t microphone)
    {
        const auto n = indexOf (microphone);
        const auto *re = real (n), *im = imaginary (n), *isUsed = frames.use();
        auto* const weight = weights.data();
        const auto floor = powerFloor * gains.meanPower (bin, microphone) + leastPower;

        for (std::size_t t = 0, count = frames.size(); t < count; ++t)
        {
            const auto now = re[t] * re[t] + im[t] * im[t];
            const auto before = re[t - 1] * re[t - 1] + im[t - 1] * im[t - 1];
            weight[t] = isUsed[t] / (floor + 0.5f * now + 0.5f * before);
        }

        // Muted, it hears nothing of the others either.
        frames.clearSilence (weights, microphone);
    }

    void fit (std::size_t bin, std::size_t microphoneIndex, LeakagePaths& paths)
    {
        constexpr auto numTaps = LeakagePaths::numTaps;
        const auto microphone = ends.microphones[microphoneIndex];
        const auto chosen = heard (bin, microphone);
        const auto size = chosen.size() * numTaps, numRows = size + 1;

        if (size == 0)
            return;

        weigh (bin, microphone);
        rowsRe.clear();
        rowsIm.clear();

        for (const auto& heardDrum : chosen)
            for (std::size_t tap = 0; tap < numTaps; ++tap)
            {
                const auto n = indexOf (ends.drums[heardDrum.drum]);
                rowsRe.push_back (real (n) - tap);
                rowsIm.push_back (imaginary (n) - tap);
            }

        // Last the microphone itself.
        rowsRe.push_back (frames.rows (indexOf (microphone), bin));
        rowsIm.push_back (rowsRe.back() + frames.size());
        products.resize (2 * numRows * numRows);
        kernels::weightedProducts (
            products.data(), rowsRe.data(), rowsIm.data(), numRows, weights.data(), frames.size());
        const auto product = [&] (std::size_t a, std::size_t b)
        {
            const auto* x = products.data() + 2 * (a * numRows + b);
            return Complex (static_cast<double> (x[0]), static_cast<double> (x[1]));
        };

        matrix.assign (size * size, {});
        right.assign (size, {});

        for (std::size_t a = 0; a < size; ++a)
        {
            for (std::size_t b = 0; b <= a; ++b)
                matrix[a * size + b] = product (a, b);

            matrix[a * size + a] += 1.0 / chosen[a / numTaps].gain;
            right[a] = std::conj (product (size, a));
        }

        if (! solve (matrix, right))
            return;

        for (std::size_t a = 0; a < size; ++a)
        {
            auto* taps = paths.taps (bin, microphoneIndex, chosen[a / numTaps].drum) + 2 * (a % numTaps);
            taps[0] = static_cast<float> (right[a].real());
            taps[1] = static_cast<float> (right[a].imag());
        }
    }

    const BinGains& gains;
    const PathEnds& ends;
    const ChosenFrames& frames;
    const std::size_t rowLength;
    std::vector<float> masked, weights, products;
    std::vector<const float*> rowsRe, rowsIm;
    std::vector<Complex> matrix, right;
};
} // namespace

bool fitPaths (RefinementRun& run,
               const FittedModel& model,
               const Masks& masks,
               const PathEnds& ends,
               LeakagePaths& paths,
               ProgressRange progress)
{
    ChosenFrames frames (run, masks, model, ends);

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
           + sizeof (float) * numTracks * numTracks * LeakagePaths::numTaps * 2 * shape.numBins;
}

} // namespace tessivar::refinement
