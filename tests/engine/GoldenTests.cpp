// Every stage of the engine against arrays of an independent implementation, on each SIMD target here.

#include "engine/ComponentRendering.h"
#include "engine/ComponentScoring.h"
#include "engine/Decomposition.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/SuppressionRendering.h"
#include "engine/TrackRendering.h"
#include "engine/numerics/RandomStream.h"
#include "terms/DrumType.h"
#include "tests/support/EngineFixtures.h"
#include "tests/support/GoldenCase.h"

#include <fstream>
#include <iterator>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
void checkAll (const std::string& kind, const std::function<Results (const GoldenCase&)>& compute)
{
    const auto cases = goldenCases (kind);
    REQUIRE (! cases.empty());
    onEveryTarget (
        [&]
        {
            for (const auto& golden : cases)
                CHECK (compareWithGolden (golden, compute (golden)) == "");
        });
}

/** A Group of one track without padding: the shape of a signal that is analysed as it stands. */
AnalysisShape shapeOf (int sampleRate, std::size_t length)
{
    AnalysisShape shape;
    shape.rate = *RateParameters::forRate (sampleRate);
    shape.lengthInSamples = static_cast<std::int64_t> (length);
    shape.numFrames = AnalysisShape::framesForLength (shape.lengthInSamples, shape.rate);
    shape.numActive = shape.numRendered = 1;
    return shape;
}

struct FrontEnd
{
    std::vector<float> mel;
    std::vector<double> energies;
};

FrontEnd runFrontEnd (const PaddedSignal& signal, const AnalysisShape& shape, const AnalysisData& data)
{
    const auto numFrames = static_cast<std::size_t> (shape.numFrames);
    FrontEnd result{ std::vector<float> (method::numMelBands * numFrames), std::vector<double> (numFrames) };
    const MelBands bands (data.melFilterBank.span(), static_cast<std::size_t> (shape.rate.numBins()));
    MelAnalyser analyser (data.window.span(), bands);
    REQUIRE (analyser.analyse (signal,
                               { 0, shape.numFrames },
                               shape.rate,
                               result.mel.data(),
                               method::numMelBands,
                               result.energies.data()));
    return result;
}

template <typename T, std::size_t n>
std::vector<double> asDoubles (const std::array<T, n>& values)
{
    return { values.begin(), values.end() };
}

std::vector<float> plane (const std::vector<float>& values, std::size_t index, std::size_t count)
{
    const auto length = values.size() / count;
    const auto first = values.begin() + static_cast<std::ptrdiff_t> (index * length);
    return { first, first + static_cast<std::ptrdiff_t> (length) };
}
/** Mel power, energies and the way back. */
Results frontEndArrays (const GoldenCase& golden)
{
    const int sampleRate = golden.params.at ("rate");
    const auto data = analysisData (sampleRate);
    MemorySource source (golden.input ("signal"));
    const auto shape = shapeOf (sampleRate, source.samples.size());
    const PaddedSignal signal (source, DrumType::kick, shape, data);
    const auto frontEnd = runFrontEnd (signal, shape, data);

    const auto frameLength = static_cast<std::size_t> (shape.rate.frameLength);
    const auto numFrames = static_cast<std::size_t> (shape.numFrames);
    constexpr auto lanes = BlockFft::numFrames;
    BlockFft fft (data.window.span());
    const auto hop = fft.hop(), numBins = fft.numBins();
    std::vector<double> frames (numFrames * frameLength), spectrum (numFrames * 2 * numBins);
    std::vector<float> samples ((numFrames + lanes) * hop + frameLength), rebuilt (samples.size());
    AlignedBuffer bins (fft.spectrumFloats()), weights (numBins), gains (lanes);
    OverlapCarry carry (hop);
    REQUIRE (signal.read (frameStart (0, shape.rate), samples));
    std::fill_n (weights.data(), numBins, 1.0f);
    std::fill_n (gains.data(), lanes, 2.0f / static_cast<float> (frameLength));

    for (std::size_t first = 0; first < numFrames; first += lanes)
    {
        fft.load (samples.data() + first * hop, std::min (lanes, numFrames - first));
        fft.forward (bins.data());

        for (std::size_t t = first; t < std::min (numFrames, first + lanes); ++t)
        {
            for (std::size_t i = 0; i < frameLength; ++i)
                frames[t * frameLength + i] = fft.windowed()[i * lanes + t - first];

            for (std::size_t i = 0; i < 2 * numBins; ++i)
                spectrum[t * 2 * numBins + i] = bins[i * lanes + t - first];
        }

        fft.prepare (bins.data());
        fft.overlapWeighted (rebuilt.data() + first * hop, carry, weights.data(), gains.data());
    }

    const auto start = rebuilt.begin() + static_cast<std::ptrdiff_t> (frameLength);
    const std::vector<double> roundTrip (start, start + static_cast<std::ptrdiff_t> (source.samples.size()));
    return Results{ { "mel", toDoubles (frontEnd.mel) },
                    { "energies", frontEnd.energies },
                    { "roundtrip", roundTrip },
                    { "frames", frames },
                    { "spectrum", spectrum } };
}

/** Tom templates ahead of a track. */
Results paddingArrays (const GoldenCase& golden)
{
    const int sampleRate = golden.params.at ("rate");
    auto data = analysisData (sampleRate);
    readDataFile (std::string (TESSIVAR_TEST_DATA) + "/golden/templates/Ltom_44100.dat",
                  data.tomLowTemplate.span(),
                  [] (std::string_view, bool) {});
    MemorySource source (golden.input ("signal"));
    auto shape = shapeOf (sampleRate, source.samples.size());
    shape.padded = true;
    shape.paddingSamples =
        method::templateCopies * golden.params.at ("toms").get<std::int64_t>() * shape.rate.templateLength;
    shape.numFrames = AnalysisShape::framesForLength (shape.paddedLength(), shape.rate);

    const PaddedSignal signal (source, golden.params.at ("type"), shape, data);
    return Results{ { "mel", toDoubles (runFrontEnd (signal, shape, data).mel) },
                    { "counts",
                      { static_cast<double> (shape.paddingSamples),
                        static_cast<double> (shape.numFrames),
                        static_cast<double> (shape.paddingFrames()) } } };
}

/** Factors of a spectrogram. */
Results decompositionArrays (const GoldenCase& golden)
{
    Results results;
    WorkerPool pool (2);
    const auto v = golden.input ("V");

    for (const int iterations : golden.params.at ("snapshots"))
    {
        auto w = golden.input ("W0"), h = golden.input ("H0");
        const auto rows = w.size() / 10, frames = h.size() / 10;
        const DecompositionSettings settings{ iterations, golden.params.at ("weight") };
        REQUIRE (decompose ({ v.data(), rows, frames },
                            { w.data(), rows, 10 },
                            { h.data(), 10, frames },
                            settings,
                            pool,
                            {}));
        results["W_" + std::to_string (iterations)] = toDoubles (w);
        results["H_" + std::to_string (iterations)] = toDoubles (h);
    }

    return results;
}

/** Correlation. */
Results correlationArrays (const GoldenCase& golden)
{
    std::vector<double> correlations;

    for (std::size_t i = 0; i < 10; ++i)
        correlations.push_back (
            correlation (plane (golden.input ("a"), i, 10), plane (golden.input ("b"), i, 10)));

    return Results{ { "correlations", correlations } };
}

/** Bases on linear frequency. */
Results linearBasesArrays (const GoldenCase& golden)
{
    const auto data = analysisData (golden.params.at ("rate"));
    const auto w = golden.input ("W");
    const LinearBases bases (w.data(), method::numMelBands, data);
    std::vector<double> values;

    for (std::size_t k = 0; k < 10; ++k)
        values.insert (values.end(), bases.component (k), bases.component (k) + bases.numBins());

    return Results{ { "WF", values } };
}

/** Component signals, scores, order and gain. */
Results componentArrays (const GoldenCase& golden)
{
    const int sampleRate = golden.params.at ("rate");
    const auto data = analysisData (sampleRate);
    MemorySource source (golden.input ("signal"));
    const auto shape = shapeOf (sampleRate, source.samples.size());
    const PaddedSignal signal (source, golden.params.at ("type"), shape, data);
    const auto energies = runFrontEnd (signal, shape, data).energies;
    const auto w = golden.input ("W"), h = golden.input ("H");

    TrackRenderingJob job;
    job.signal = &signal;
    job.bases = { w.data(), method::numMelBands, 10 };
    job.activations = { h.data(), 10, static_cast<std::size_t> (shape.numFrames) };
    LoudestFrames loudest (0, golden.params.at ("segments"));
    loudest.add (0, energies);
    job.loudest = loudest.inOrder();
    job.ownLength = shape.lengthInSamples;

    WorkerPool pool (2);
    MemorySink sink (source);
    std::vector<std::vector<float>> slots (
        10, std::vector<float> (static_cast<std::size_t> (shape.lengthInSamples)));
    job.sink = &sink;
    job.allComponents = [&] (int slot, std::int64_t start, std::span<const float> samples)
    {
        std::copy (samples.begin(),
                   samples.end(),
                   slots[static_cast<std::size_t> (slot)].begin() + static_cast<std::ptrdiff_t> (start));
        return true;
    };
    TrackAnalysis analysis;
    const auto ignoreProgress = [] (double) {};
    REQUIRE (renderTrack (job, { shape, data, pool, {} }, ignoreProgress, analysis)
             == AnalysisStatus::completed);

    std::vector<double> components;

    for (int k = 0; k < 10; ++k)
    {
        const auto slot =
            std::find (analysis.slots.begin(), analysis.slots.end(), k) - analysis.slots.begin();

        for (const auto x : slots[static_cast<std::size_t> (slot)])
            components.push_back (static_cast<double> (x / (analysis.level.gain * analysis.level.rescaling)));
    }

    return Results{ { "energies", energies },
                    { "loudest", toDoubles (job.loudest) },
                    { "components", components },
                    { "scores", asDoubles (analysis.scores) },
                    { "order", asDoubles (analysis.slots) },
                    { "gain", { static_cast<double> (analysis.level.gain) } } };
}

/** Gain, order and rescaling of what is stored. */
Results storedArrays (const GoldenCase& golden)
{
    const auto components = golden.input ("components"), source = golden.input ("source");
    ComponentValues scores;
    std::copy_n (golden.input ("scores").begin(), 10, scores.begin());

    const auto energy = [] (const std::vector<float>& x)
    {
        double sum = 0.0;

        for (const auto value : x)
            sum += static_cast<double> (value * value);

        return sum;
    };

    const auto gain = componentGain (energy (source), energy (components));
    const auto order = orderByScore (scores);
    float peak = 0.0f;

    for (const auto x : plane (components, static_cast<std::size_t> (order[0]), 10))
        peak = std::max (peak, std::abs (x * gain));

    const auto factor = rescalingFactor (peak);
    std::vector<double> stored;

    for (const auto component : order)
        for (const auto x : plane (components, static_cast<std::size_t> (component), 10))
            stored.push_back (static_cast<double> (x * gain * factor));

    return Results{ { "gain", { static_cast<double> (gain) } },
                    { "order", asDoubles (order) },
                    { "factor", { static_cast<double> (factor) } },
                    { "stored", stored } };
}

/** Slots of a HiHat track. */
Results hiHatArrays (const GoldenCase& golden)
{
    Results results;
    const auto components = golden.input ("components");
    ComponentValues scores;
    std::copy_n (golden.input ("scores").begin(), 10, scores.begin());
    std::map<std::string, ComponentValues> similarities;

    for (const std::string drum : { "kick", "snare" })
    {
        if (golden.inputs.count (drum) == 0)
            continue;

        auto reference = golden.input (drum);
        SimilarityFilter referenceFilter;
        referenceFilter.process (reference);
        ComponentValues raw{};

        for (std::size_t k = 0; k < 10; ++k)
        {
            auto component = plane (components, k, 10);
            SimilarityFilter filter;
            // Piece by piece: the filter's state must carry over.
            filter.process (std::span (component).first (777));
            filter.process (std::span (component).subspan (777));
            raw[k] = correlation (component, reference);
        }

        similarities[drum] = normalisedSimilarities (raw);
        results[drum + "_reference"] = toDoubles (reference);
        results[drum + "_raw"] = asDoubles (raw);
        results[drum + "_similarity"] = asDoubles (similarities[drum]);
    }

    const auto of = [&] (const std::string& drum)
    {
        return similarities.count (drum) != 0 ? std::span<const double> (similarities[drum])
                                              : std::span<const double>();
    };
    results["slots"] = asDoubles (
        hiHatSlots (orderByScore (scores), of ("kick"), of ("snare"), golden.params.at ("threshold")));
    return results;
}

/** Fold and suppression rule. */
Results foldArrays (const GoldenCase& golden)
{
    Results results;
    const auto stored = golden.input ("stored"), source = golden.input ("source");
    const auto length = static_cast<std::ptrdiff_t> (source.size());
    std::vector<std::vector<float>> channels (7, std::vector<float> (source.size()));

    for (std::ptrdiff_t c = 0; c < 5; ++c)
        channels[static_cast<std::size_t> (c)].assign (stored.begin() + c * length,
                                                       stored.begin() + (c + 1) * length);

    channels.back() = source;
    const auto frames = folded (channels, {});
    std::vector<float> out (source.size());

    for (std::size_t i = 0; i < source.size(); ++i)
        results["residual"].push_back (static_cast<double> (frames[7 * i + 5]));

    for (const auto& [list, prefix] :
         { std::pair{ "settings", "out_" }, std::pair{ "identities", "identity_" } })
    {
        int number = 0;

        for (const auto& setting : golden.params.at (list))
        {
            const auto peak =
                renderSuppression (out, frames, SuppressionRule::forSetting ({ setting[0], setting[1] }));
            const auto digits = std::to_string (number++);
            results[prefix + std::string (2 - digits.size(), '0') + digits] = toDoubles (out);

            if (std::string (list) == "settings")
                results["peaks"].push_back (static_cast<double> (peak));
        }
    }

    return results;
}

/** Sizes of a Group's analysis. */
Results sizeArrays (const GoldenCase& golden)
{
    Results results;

    for (const auto& group : golden.params.at ("groups"))
    {
        std::vector<TrackShape> tracks;

        for (std::size_t i = 0; i < group.at ("types").size(); ++i)
            tracks.push_back ({ group.at ("types")[i],
                                group.at ("excluded")[i] != 0,
                                group.at ("rate"),
                                group.at ("lengths")[i] });

        std::vector<double> row (12, -1.0);

        if (const auto s = AnalysisShape::forTracks (tracks))
        {
            const auto as = [] (auto x) { return static_cast<double> (x); };
            row = { as (s->rate.sampleRate),     as (s->rate.frameLength), as (s->rate.hop),
                    as (s->rate.templateLength), as (s->rate.numBins()),   as (s->lengthInSamples),
                    as (s->numSegments),         as (s->padded),           as (s->paddingSamples),
                    as (s->numFrames),           as (s->numActive),        as (s->numRendered) };
        }

        results["values"].insert (results["values"].end(), row.begin(), row.end());
    }

    return results;
}

/** A data file that is too short. */
Results shortFileArrays (const GoldenCase& golden)
{
    const TemporaryFolder folder;
    const auto contents = golden.input ("file");
    std::ofstream (folder.name() + "/w.dat", std::ios::binary)
        .write (reinterpret_cast<const char*> (contents.data()),
                static_cast<std::streamsize> (contents.size() * sizeof (float)));
    std::vector<float> array (golden.params.at ("count").get<std::size_t>(), 7.0f);
    readDataFile (folder.name() + "/w.dat", array, [] (std::string_view, bool) {});
    return Results{ { "array", toDoubles (array) } };
}

/** Samples that are no numbers. */
Results finiteArrays (const GoldenCase& golden)
{
    auto signal = golden.input ("signal");
    CHECK (replaceNonFinite (signal) > 0);
    return Results{ { "signal", toDoubles (signal) } };
}

/** A whole small Group. */
Results groupArrays (const GoldenCase& golden)
{
    Results results;
    const int sampleRate = golden.params.at ("rate");
    const auto data = analysisData (sampleRate);
    const auto& trackList = golden.params.at ("tracks");
    std::vector<std::unique_ptr<MemorySource>> sources;
    std::vector<AnalysisTrack> tracks;
    std::vector<TrackShape> shapes;
    std::vector<std::int64_t> lengths;

    for (std::size_t i = 0; i < trackList.size(); ++i)
    {
        sources.push_back (std::make_unique<MemorySource> (golden.input ("track_" + std::to_string (i))));
        lengths.push_back (sources.back()->lengthInSamples());
        shapes.push_back ({ trackList[i].at ("type"),
                            trackList[i].at ("excluded"),
                            static_cast<double> (sampleRate),
                            lengths.back() });
        tracks.push_back ({ shapes.back(), sources.back().get() });
    }

    // The stacked spectrogram and its factors, stage by stage.
    const auto shape = *AnalysisShape::forTracks (shapes);
    const auto rows = shape.melRows(), frames = static_cast<std::size_t> (shape.numFrames);
    std::vector<float> v (rows * frames);
    std::size_t row = 0;

    for (const auto& track : tracks)
    {
        if (track.shape.excluded)
            continue;

        const auto mel =
            runFrontEnd (PaddedSignal (*track.source, track.shape.drumType, shape, data), shape, data).mel;

        for (std::size_t t = 0; t < frames; ++t)
            std::copy_n (
                mel.data() + t * method::numMelBands, method::numMelBands, v.data() + t * rows + row);

        row += method::numMelBands;
    }

    auto w = golden.input ("W0"), h = golden.input ("H0");
    RandomStream random (golden.params.at ("seed"));
    REQUIRE (std::all_of (w.begin(), w.end(), [&] (float x) { return x == random.next(); }));
    REQUIRE (std::all_of (h.begin(), h.end(), [&] (float x) { return x == random.next(); }));
    WorkerPool pool (2);
    REQUIRE (decompose (
        { v.data(), rows, frames }, { w.data(), rows, 10 }, { h.data(), 10, frames }, {}, pool, {}));
    results["W"] = toDoubles (w);
    results["H"] = toDoubles (h);

    // The same Group through the analysis as it is called.
    MemoryStorage storage (tracks);
    auto options = quietOptions (2);
    options.seed = golden.params.at ("seed");
    const auto analysis = analyseTracks (tracks, options, storage, {});
    REQUIRE (analysis.status == AnalysisStatus::completed);

    for (std::size_t i = 0; i < tracks.size(); ++i)
    {
        const auto number = std::to_string (i);
        const auto sink = storage.sinks.find (static_cast<int> (i));
        results["scores_" + number] = asDoubles (analysis.tracks[i].scores);
        results["slots_" + number] = asDoubles (analysis.tracks[i].slots);
        int settingNumber = 0;

        for (const auto& setting : golden.params.at ("settings"))
        {
            auto out = sources[i]->samples;

            if (sink != storage.sinks.end())
                renderSuppression (
                    out, sink->second.frames(), SuppressionRule::forSetting ({ setting[0], setting[1] }));

            results["processed_" + number + "_" + std::to_string (settingNumber++)] = toDoubles (out);
        }
    }

    return results;
}
} // namespace

TEST_CASE ("Every stage gives the golden arrays", "[engine][golden]")
{
    const std::pair<const char*, Results (*) (const GoldenCase&)> stages[]{
        { "frontend", frontEndArrays },  { "padding", paddingArrays },
        { "nmf", decompositionArrays },  { "correlation", correlationArrays },
        { "interp", linearBasesArrays }, { "render", componentArrays },
        { "store", storedArrays },       { "hihat", hiHatArrays },
        { "fold", foldArrays },          { "config", sizeArrays },
        { "datafile", shortFileArrays }, { "sanitise", finiteArrays },
        { "job", groupArrays }
    };

    for (const auto& [kind, compute] : stages)
        DYNAMIC_SECTION (kind)
        {
            checkAll (kind, compute);
        }
}
