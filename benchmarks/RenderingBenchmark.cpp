#include "benchmarks/Benchmarks.h"
#include "benchmarks/FrameByFrameRendering.h"
#include "benchmarks/MachineBenchmark.h"
#include "engine/AnalysisData.h"
#include "engine/ComponentRendering.h"
#include "engine/DataFileGenerator.h"
#include "engine/SpectralFrontEnd.h"
#include "engine/numerics/RandomStream.h"
#include "engine/numerics/simd/SimdTarget.h"
#include "terms/ChannelLayout.h"
#include "terms/DrumType.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <span>

namespace tessivar::benchmarks
{

namespace
{
constexpr std::int64_t stretchHops = 504; // of the anchor
constexpr std::int64_t numStretches = 8;  // per round
constexpr std::array allComponents{ 0, 1, 2, 3, 4, 5, 6, 7, 8, 9 };

const std::string anchorName = "FFTW frame by frame";

class NoiseSource : public SampleSource
{
public:
    explicit NoiseSource (std::int64_t length) : samples (static_cast<std::size_t> (length))
    {
        RandomStream random (3);

        for (auto& x : samples)
            x = random.next() - 0.5f;
    }

    [[nodiscard]] std::int64_t lengthInSamples() const override
    {
        return static_cast<std::int64_t> (samples.size());
    }

    [[nodiscard]] bool read (std::int64_t start, std::span<float> dest) override
    {
        const auto size = static_cast<std::int64_t> (dest.size());
        const auto first = std::clamp (-start, std::int64_t{ 0 }, size);
        const auto end = std::clamp (lengthInSamples() - start, first, size);
        std::fill (dest.begin(), dest.end(), 0.0f);
        std::copy_n (samples.begin() + start + first, end - first, dest.begin() + first);
        return true;
    }

    [[nodiscard]] const float* data() const { return samples.data(); }

private:
    std::vector<float> samples;
};

AnalysisData makeData (const RateParameters& rate)
{
    const auto aligned = [] (const std::vector<float>& values)
    {
        AlignedBuffer buffer (values.size());
        std::copy (values.begin(), values.end(), buffer.data());
        return buffer;
    };

    AnalysisData data;
    data.rate = rate;
    data.window = aligned (dataFiles::sineBellWindow (rate.frameLength));
    data.interpolation = aligned (dataFiles::interpolationVector (rate));
    return data;
}

AnalysisShape makeShape (const RateParameters& rate)
{
    TrackShape track;
    track.drumType = DrumType::snare;
    track.sampleRate = rate.sampleRate;
    track.lengthInSamples = stretchHops * rate.hop * numStretches;
    return *AnalysisShape::forTracks (std::span (&track, 1));
}

/** What both ways of rendering need at one frame length. */
class Comparison
{
public:
    explicit Comparison (const RateParameters& r)
        : rate (r), data (makeData (rate)), shape (makeShape (rate)), source (shape.lengthInSamples),
          signal (source, DrumType::snare, shape, data),
          melBases (method::numMelBands * channelLayout::numComponents),
          activations (channelLayout::numComponents * static_cast<std::size_t> (shape.numFrames))
    {
        RandomStream random (4);

        for (auto& x : melBases)
            x = 0.01f + random.next();

        for (auto& x : activations)
            x = 0.01f + random.next();
    }

    void run (const BenchmarkOptions& options, Findings& findings, Table& table)
    {
        announce ("rendering: frames of " + std::to_string (rate.frameLength));

        const LinearBases bases (melBases.data(), method::numMelBands, data);
        ComponentRenderer renderer (bases, frames(), data);
        FrameByFrameRendering anchor (rate, bases.data(), bases.columnStride(), data.window.data());
        checkAgreement (renderer, anchor, findings);

        findings.measure (table,
                          { { "frameLength", rate.frameLength } },
                          options.rounds,
                          [&] (Figures& found)
                          {
                              found.add (subject (anchorName),
                                         "cpuPerFrame",
                                         "ns",
                                         nanosecondsPerFrame (
                                             [&]
                                             {
                                                 for (std::int64_t i = 0; i < numStretches; ++i)
                                                     renderAnchor (anchor, i);
                                             }));

                              for (const auto& target : options.simdTargets)
                              {
                                  useSimdTarget (target);
                                  found.add (subject (target),
                                             "cpuPerFrame",
                                             "ns",
                                             nanosecondsPerFrame ([&] { renderProduct (renderer); }));
                              }
                          });

        useSimdTarget ({});
        auto names = options.simdTargets;
        names.insert (names.begin(), anchorName);

        for (const auto& name : names)
        {
            const auto time = findings.figures.of (subject (name), "cpuPerFrame");
            const auto faster =
                name == anchorName ? Series()
                                   : ratios (findings.figures.of (subject (anchorName), "cpuPerFrame"), time);
            const auto width = name == anchorName || rate.frameLength != 1024 ? 0 : vectorWidth (name);

            table.rows.push_back ({ std::to_string (rate.frameLength),
                                    name,
                                    number (time.median()),
                                    number (time.minimum()),
                                    number (faster.median(), 2),
                                    width == 16  ? "3"
                                    : width == 8 ? "2.2"
                                                 : "-",
                                    width == 16  ? "4"
                                    : width == 8 ? "3"
                                                 : "-" });
            findings.figures.add (subject (name), "timesAnchor", "ratio", faster);
        }

        findings.figures.add ({ { "frameLength", rate.frameLength } }, "difference", "ratio", difference);
    }

private:
    [[nodiscard]] Case subject (const std::string& kernels) const
    {
        return { { "frameLength", rate.frameLength }, { "kernels", kernels } };
    }

    [[nodiscard]] MatrixView<const float> frames() const
    {
        return { activations.data(),
                 channelLayout::numComponents,
                 static_cast<std::size_t> (shape.numFrames) };
    }

    static double nanosecondsPerFrame (const std::function<void()>& render)
    {
        return measure (render).cpu() * 1.0e9 / static_cast<double> (numStretches * stretchHops);
    }

    /** The levels of all components, and the signals of the five that are kept. */
    void renderProduct (ComponentRenderer& renderer)
    {
        const auto kept = std::span (allComponents).first (channelLayout::numBestComponents);
        ComponentLevels levels;

        for (std::size_t i = 0; i < ComponentRenderer::numSegments (shape, shape.lengthInSamples); ++i)
            (void) renderer.renderSegment (
                signal, i, shape, kept, &levels, [] (const ComponentRenderer::Piece&) { return true; });
    }

    void renderAnchor (FrameByFrameRendering& anchor, std::int64_t i) const
    {
        // This frame starts at sample 0.
        const auto leading = rate.frameLength / rate.hop;
        const auto first = static_cast<std::size_t> (leading + i * stretchHops);
        const MatrixView<const float> h{ frames().column (first), channelLayout::numComponents, stretchHops };
        anchor.render (source.data() + i * stretchHops * rate.hop, h, stretchHops);
    }

    void checkAgreement (ComponentRenderer& renderer, FrameByFrameRendering& anchor, Findings& findings)
    {
        // The anchor's first stretch lacks the frames before it; its second is whole.
        renderAnchor (anchor, 0);
        renderAnchor (anchor, 1);
        const auto start = stretchHops * rate.hop;

        const auto compareWithAnchor = [&] (const ComponentRenderer::Piece& piece)
        {
            const auto first = std::max (piece.first, start);
            const auto end = std::min (piece.first + static_cast<std::int64_t> (piece.length), 2 * start);

            for (std::size_t k = 0; k < channelLayout::numComponents && first < end; ++k)
                compare (piece.components[k] + (first - piece.first),
                         anchor.component (k) + (first - start),
                         end - first);

            return true;
        };

        for (std::size_t i = 0; i < ComponentRenderer::numSegments (shape, shape.lengthInSamples); ++i)
            (void) renderer.renderSegment (signal, i, shape, allComponents, nullptr, compareWithAnchor);

        if (! (difference < 1.0e-5))
            findings.failures.push_back ("rendering, N = " + std::to_string (rate.frameLength)
                                         + ": the product and its anchor differ by " + number (difference, 7)
                                         + " of the peak");
    }

    void compare (const float* a, const float* b, std::int64_t length)
    {
        auto peak = 1.0e-30, largest = 0.0;

        for (std::int64_t i = 0; i < length; ++i)
        {
            peak = std::max (peak, static_cast<double> (std::abs (b[i])));
            largest = std::max (largest, static_cast<double> (std::abs (a[i] - b[i])));
        }

        difference = std::max (difference, largest / peak);
    }

    const RateParameters rate;
    const AnalysisData data;
    const AnalysisShape shape;
    NoiseSource source;
    const PaddedSignal signal;
    std::vector<float> melBases, activations;
    double difference = 0.0;
};
} // namespace

Findings benchmarkRendering (const BenchmarkOptions& options)
{
    Findings findings;
    Table table;
    table.id = "rendering";
    table.title = "Rendering ten components of one track, one thread";
    table.columns = { "N", "kernels", "ns a frame", "best ns", "times faster", "target", "beyond" };

    for (const auto& rate : supportedRates)
        if (rate.sampleRate == 44100 || rate.sampleRate == 88200 || rate.sampleRate == 192000)
            Comparison (rate).run (options, findings, table);

    findings.tables.push_back (table);
    return findings;
}

} // namespace tessivar::benchmarks
