#include "engine/DrumRecognition.h"

#include "engine/WorkItems.h"
#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/BlockFft.h"
#include "engine/numerics/simd/SignalKernels.h"
#include "terms/HitFinding.h"
#include "terms/Mathematics.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace tessivar
{

namespace
{
constexpr double blockSeconds = 0.005;
constexpr std::size_t mostHits = 24, fewestHiHatHits = 8;

/** Largest magnitudes of blocks, and the blocks in which loud hits begin. */
struct Strokes
{
    std::vector<float> peaks;
    std::vector<std::size_t> hits;

    /** Height of what happens about a block, in other microphones perhaps a few milliseconds apart. */
    [[nodiscard]] float heightAt (std::size_t block) const
    {
        auto height = 1.0e-5f; // -100 dB, so that silence can be divided by

        for (auto i = block - std::min<std::size_t> (block, 2); i < std::min (peaks.size(), block + 5); ++i)
            height = std::max (height, peaks[i]);

        return height;
    }
};

constexpr std::array shareBorders{ 30.0, 110.0, 450.0, 2000.0, 16000.0 }; // Hz

template <typename Value>
Value valueAt (std::vector<Value> values, double share)
{
    const auto index =
        std::min (values.size() - 1, static_cast<std::size_t> (share * static_cast<double> (values.size())));
    std::nth_element (values.begin(), values.begin() + static_cast<std::ptrdiff_t> (index), values.end());
    return values[index];
}

/** Nothing when told to stop or when the source can't be read. */
std::optional<Strokes> strokesOf (SampleSource& source, double sampleRate, const WorkControl& control)
{
    constexpr std::size_t blocksAtOnce = 256;
    const auto blockLength = static_cast<std::size_t> (std::lround (blockSeconds * sampleRate));
    const auto numBlocks = static_cast<std::size_t> (source.lengthInSamples()) / blockLength;
    std::vector<float> samples (blocksAtOnce * blockLength);
    Strokes strokes;
    strokes.peaks.reserve (numBlocks);

    for (std::size_t first = 0; first < numBlocks; first += blocksAtOnce)
    {
        const auto part =
            std::span (samples).first (std::min (blocksAtOnce, numBlocks - first) * blockLength);

        if (control.stopRequested() || ! source.read (static_cast<std::int64_t> (first * blockLength), part))
            return std::nullopt;

        for (std::size_t start = 0; start < part.size(); start += blockLength)
            strokes.peaks.push_back (kernels::signalLevel (part.data() + start, blockLength).peak);
    }

    strokes.hits = findHitBlocks (strokes.peaks, sampleRate / static_cast<double> (blockLength));
    return strokes;
}

/** The hits of a track in which it is not much softer against any other track than it is at its best. */
std::vector<std::size_t> ownHits (const std::vector<Strokes>& all, std::size_t track)
{
    constexpr float apart = 3.16f; // 10 dB; below, two microphones hear the same
    auto hits = all[track].hits;

    for (std::size_t other = 0; other < all.size(); ++other)
    {
        if (other == track || all[other].hits.empty() || all[track].hits.empty())
            continue;

        const auto lead = [&] (std::size_t block)
        { return all[track].heightAt (block) / all[other].heightAt (block); };
        const auto leadsAt = [&] (const std::vector<std::size_t>& blocks)
        {
            std::vector<float> leads;
            std::transform (blocks.begin(), blocks.end(), std::back_inserter (leads), lead);
            return leads;
        };
        const auto best = valueAt (leadsAt (all[track].hits), 0.9f);
        const auto worst = valueAt (leadsAt (all[other].hits), 0.1f);

        if (best >= worst * apart)
            std::erase_if (hits, [&] (std::size_t hit) { return lead (hit) * lead (hit) < best * worst; });
    }

    std::sort (hits.begin(),
               hits.end(),
               [&] (std::size_t a, std::size_t b)
               {
                   const auto heightA = all[track].heightAt (a), heightB = all[track].heightAt (b);
                   return heightA > heightB || (! (heightA < heightB) && a < b);
               });
    return hits;
}

/** Listens to single hits. */
class HitSpectra
{
public:
    explicit HitSpectra (double sampleRateToUse)
        : sampleRate (sampleRateToUse), heard (samplesIn (0.1)), later (samplesIn (0.12)),
          window (makeWindow (heard, std::bit_ceil (samplesIn (0.15)))), fft (window),
          spectrum (fft.spectrumFloats())
    {
    }

    /** Of the hits that begin in these blocks; nothing when the source can't be read. */
    [[nodiscard]] std::optional<DrumSound> soundOf (SampleSource& source, std::span<const std::size_t> blocks)
    {
        constexpr auto hitsAtOnce = BlockFft::numFrames / 2;
        const auto blockLength = std::lround (blockSeconds * sampleRate);
        std::vector<float> samples (BlockFft::numFrames * fft.length());
        features = {};

        for (std::size_t first = 0; first < blocks.size(); first += hitsAtOnce)
        {
            const auto count = std::min (hitsAtOnce, blocks.size() - first);
            std::array<const float*, BlockFft::numFrames> frames{};

            for (std::size_t i = 0; i < 2 * count; ++i)
            {
                const auto start = static_cast<std::int64_t> (blocks[first + i / 2]) * blockLength
                                   + static_cast<std::int64_t> (i % 2 * later);
                const auto frame = std::span (samples).subspan (i * fft.length(), heard);

                if (! source.read (start, frame))
                    return std::nullopt;

                frames[i] = frame.data();
            }

            fft.load (frames);
            fft.forward (spectrum.data());

            for (std::size_t i = 0; i < count; ++i)
                add (2 * i);
        }

        return conclude();
    }

private:
    [[nodiscard]] std::size_t samplesIn (double seconds) const
    {
        return static_cast<std::size_t> (std::lround (seconds * sampleRate));
    }

    /** Full at the beginning of a hit, falling to silence. */
    static std::vector<float> makeWindow (std::size_t used, std::size_t length)
    {
        std::vector<float> weights (length);

        for (std::size_t i = 0; i < used; ++i)
            weights[i] = static_cast<float> (0.5 + 0.5 * math::cosOfTurn (i, 2 * used));

        return weights;
    }

    [[nodiscard]] std::size_t binOf (double frequency) const
    {
        return std::min (fft.numBins() - 1,
                         static_cast<std::size_t> (
                             std::ceil (frequency * static_cast<double> (fft.length()) / sampleRate)));
    }

    [[nodiscard]] double frequencyOf (std::size_t bin) const
    {
        return static_cast<double> (bin) * sampleRate / static_cast<double> (fft.length());
    }

    [[nodiscard]] double power (std::size_t bin, std::size_t frame) const
    {
        const auto* const values = spectrum.data() + bin * 2 * BlockFft::numFrames + frame;
        const double re = values[0], im = values[BlockFft::numFrames];
        return re * re + im * im;
    }

    [[nodiscard]] double powerBetween (double low, double high, std::size_t frame) const
    {
        auto sum = 0.0;

        for (auto bin = binOf (low); bin < binOf (high); ++bin)
            sum += power (bin, frame);

        return sum;
    }

    /** The lowest peak that isn't much below the highest one under 500 Hz: of a tom its pitch, not an
        overtone. */
    [[nodiscard]] double resonanceOf (std::size_t frame) const
    {
        const auto from = binOf (shareBorders.front()), to = binOf (500.0);
        auto highest = 0.0;

        for (auto bin = from; bin < to; ++bin)
            highest = std::max (highest, power (bin, frame));

        for (auto bin = from; bin < to; ++bin)
            if (const auto height = power (bin, frame); height >= 0.25 * highest
                                                        && (bin == from || height >= power (bin - 1, frame))
                                                        && height >= power (bin + 1, frame))
                return frequencyOf (bin);

        return 0.0;
    }

    void add (std::size_t frame)
    {
        const auto total = powerBetween (shareBorders.front(), shareBorders.back(), frame);

        if (! (total > 0.0))
            return;

        auto medianBin = binOf (shareBorders.front());

        for (auto below = power (medianBin, frame); below < 0.5 * total; below += power (medianBin, frame))
            ++medianBin;

        const auto resonance = resonanceOf (frame);
        const auto about = [&] (std::size_t of)
        { return powerBetween (resonance / 1.3, resonance * 1.3, of); };
        features[0].push_back (resonance);
        features[1].push_back (frequencyOf (medianBin));
        features[2].push_back (about (frame + 1) / std::max (about (frame), total * 1.0e-9));

        for (std::size_t i = 0; i + 1 < shareBorders.size(); ++i)
            features[3 + i].push_back (powerBetween (shareBorders[i], shareBorders[i + 1], frame) / total);
    }

    [[nodiscard]] DrumSound conclude() const
    {
        DrumSound sound;
        sound.numHits = features[0].size();

        if (sound.numHits == 0)
            return sound;

        const auto middle = [&] (std::size_t feature) { return valueAt (features[feature], 0.5); };
        const auto ratio = [&] (std::size_t feature)
        { return valueAt (features[feature], 0.8) / std::max (1.0, valueAt (features[feature], 0.2)); };
        sound.resonance = middle (0);
        sound.resonanceRatio = ratio (0);
        sound.medianFrequency = middle (1);
        sound.medianRatio = ratio (1);
        sound.left = middle (2);
        sound.lows = middle (3);
        sound.mids = middle (4);
        sound.uppers = middle (5);
        sound.highs = middle (6);
        return sound;
    }

    const double sampleRate;
    const std::size_t heard, later; // samples
    const std::vector<float> window;
    BlockFft fft;
    AlignedBuffer spectrum;
    std::array<std::vector<double>, 3 + shareBorders.size() - 1> features; // of every hit
};

std::optional<DrumType> drumOf (const DrumSound& sound)
{
    constexpr double damped = 0.025, singing = 0.4; // -16 and -4 dB
    constexpr double lowestSnare = 150.0, highestSnare = 330.0, lowestTom = 55.0, lowestLowTom = 101.0,
                     lowestHighTom = 110.0, highestTom = 175.0, highestKick = 105.0,
                     lowestHiHat = 3000.0; // Hz
    const auto isMostlyOwn = sound.ownShare >= 0.6;
    const auto couldBeSnare = isMostlyOwn && sound.lows < 0.15 && sound.highs < 0.4
                              && sound.left <= 0.63 * damped && sound.resonance >= lowestSnare
                              && sound.resonance < highestSnare;

    if (sound.numHits < DrumSound::fewestHits)
        return std::nullopt;

    if (couldBeSnare && sound.mids + sound.uppers >= 0.7)
        return DrumType::snare;

    if (sound.highs < 0.15 && sound.lows + sound.mids >= 0.7)
    {
        if (isMostlyOwn && sound.lows >= 0.6 && sound.left <= damped && sound.resonance < highestKick
            && sound.resonanceRatio < 2.0)
            return DrumType::kick;

        if (sound.left > damped && sound.left <= singing && sound.resonance >= lowestTom
            && sound.resonance <= highestTom && sound.resonanceRatio < 1.25)
            return sound.resonance < lowestLowTom    ? DrumType::tomFloor
                   : sound.resonance < lowestHighTom ? DrumType::tomLow
                                                     : DrumType::tomHigh;
    }

    return sound.highs >= 0.6 && sound.lows + sound.mids <= 0.25 && sound.medianFrequency >= lowestHiHat
                   && sound.medianRatio < 1.4 && sound.numHits >= fewestHiHatHits
               ? std::optional (DrumType::hiHat)
               : std::nullopt;
}
} // namespace

std::optional<std::vector<DrumSound>> hearDrums (std::span<const HeardTrack> tracks,
                                                 double sampleRate,
                                                 WorkerPool& pool,
                                                 const WorkControl& control)
{
    std::vector<DrumSound> sounds (tracks.size());

    if (std::ranges::none_of (tracks, &HeardTrack::isAsked))
        return sounds;

    std::vector<Strokes> strokes (tracks.size());
    const auto findStrokes = [&] (std::size_t i, int)
    {
        auto found = strokesOf (*tracks[i].source, sampleRate, control);

        if (! found)
            return AnalysisStatus::readFailed;

        strokes[i] = std::move (*found);
        return AnalysisStatus::completed;
    };
    const auto listen = [&] (std::size_t i, int)
    {
        if (! tracks[i].isAsked)
            return AnalysisStatus::completed;

        const auto hits = ownHits (strokes, i);
        const auto sound =
            HitSpectra (sampleRate)
                .soundOf (*tracks[i].source, std::span (hits).first (std::min (mostHits, hits.size())));

        if (! sound)
            return AnalysisStatus::readFailed;

        sounds[i] = *sound;
        sounds[i].ownShare =
            hits.empty() ? 0.0
                         : static_cast<double> (hits.size()) / static_cast<double> (strokes[i].hits.size());
        return AnalysisStatus::completed;
    };

    if (forEachItem (pool, control, tracks.size(), findStrokes) != AnalysisStatus::completed
        || forEachItem (pool, control, tracks.size(), listen) != AnalysisStatus::completed)
        return std::nullopt;

    return sounds;
}

std::vector<std::optional<DrumType>> recognizeDrums (std::span<const HeardTrack> tracks,
                                                     std::span<const DrumSound> sounds)
{
    std::vector<std::optional<DrumType>> drums (tracks.size());

    for (std::size_t i = 0; i < tracks.size(); ++i)
        if (tracks[i].isAsked)
            drums[i] = drumOf (sounds[i]);

    // A drum set has one; what else is as bright and regular are its overheads.
    const auto numHiHats =
        std::ranges::count (drums, std::optional (DrumType::hiHat))
        + std::ranges::count_if (tracks,
                                 [] (const HeardTrack& track) { return track.type == DrumType::hiHat; });

    if (numHiHats > 1)
        std::ranges::replace (drums, std::optional (DrumType::hiHat), std::optional<DrumType>());

    return drums;
}

} // namespace tessivar
