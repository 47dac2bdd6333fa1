#include "engine/ComponentRendering.h"
#include "engine/numerics/RandomStream.h"
#include "engine/numerics/simd/LaneKernels.h"
#include "tests/support/EngineFixtures.h"

#include <array>
#include <cmath>
#include <limits>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr auto lanes = BlockFft::numFrames;
constexpr auto numComponents = static_cast<std::size_t> (channelLayout::numComponents);
constexpr std::array all{ 0, 1, 2, 3, 4, 5, 6, 7, 8, 9 };

/** A track of noise behind a tom's padding, whose length is no multiple of the hop, with a long pause. */
struct PaddedTrack
{
    PaddedTrack() : data (analysisData (48000)), source (std::vector<float> (length))
    {
        RandomStream random (8);
        shape.rate = data.rate;
        shape.padded = true;
        shape.paddingSamples = method::templateCopies * data.rate.templateLength;
        shape.lengthInSamples = length;
        shape.numFrames = AnalysisShape::framesForLength (shape.paddedLength(), shape.rate);
        melBases.resize (method::numMelBands * numComponents);
        activations.resize (numComponents * static_cast<std::size_t> (shape.numFrames));

        for (auto* values : { &source.samples, &melBases, &activations })
            for (auto& x : *values)
                x = 0.01f + random.next();

        for (auto& x : source.samples)
            x -= 0.51f;

        // The decomposition may blow up where there is nothing to decompose.
        std::fill (source.samples.begin() + pauseStart, source.samples.begin() + pauseEnd, 0.0f);
        const auto firstSilent =
            (shape.paddingSamples + pauseStart + shape.rate.frameLength) / shape.rate.hop + 1;
        const auto endSilent = (shape.paddingSamples + pauseEnd) / shape.rate.hop;

        for (auto i = firstSilent * channelLayout::numComponents;
             i < endSilent * channelLayout::numComponents;
             ++i)
            activations[static_cast<std::size_t> (i)] =
                i % 2 == 0 ? std::numeric_limits<float>::infinity() : std::numeric_limits<float>::quiet_NaN();
    }

    /** All segments in one row; what meets must be equal. */
    struct Rendered
    {
        std::array<std::vector<float>, numComponents> signals;
        ComponentLevels levels;
    };

    [[nodiscard]] Rendered render (bool backwards)
    {
        const PaddedSignal signal (source, DrumType::tomHigh, shape, data);
        const LinearBases bases (melBases.data(), method::numMelBands, data);
        ComponentRenderer renderer (
            bases, { activations.data(), numComponents, static_cast<std::size_t> (shape.numFrames) }, data);
        const auto numSegments = ComponentRenderer::numSegments (shape, length);
        REQUIRE (numSegments > 2);
        std::vector<ComponentLevels> levels (numSegments);
        Rendered result;

        for (auto& samples : result.signals)
            samples.assign (length, std::numeric_limits<float>::max());

        for (std::size_t i = 0; i < numSegments; ++i)
        {
            const auto index = backwards ? numSegments - 1 - i : i;
            const auto take = [&] (const ComponentRenderer::Piece& piece)
            {
                CHECK (piece.lead == (piece.first == 0 ? 0u : 256u));

                for (std::size_t k = 0; k < numComponents; ++k)
                {
                    auto* out = result.signals[k].data() + piece.first;
                    std::copy_n (piece.components[k], piece.length, out);

                    // Ahead of it stands the end of the piece before.
                    if (! backwards)
                        CHECK (std::equal (out - piece.lead, out, piece.components[k] - piece.lead));
                }

                return true;
            };
            REQUIRE (renderer.renderSegment (signal, index, shape, all, &levels[index], take));
        }

        for (const auto& part : levels)
            result.levels.add (part);

        return result;
    }

    static constexpr std::int64_t length = 150000, pauseStart = 40000, pauseEnd = 52001;
    const AnalysisData data;
    MemorySource source;
    AnalysisShape shape;
    std::vector<float> melBases, activations;
};
} // namespace

TEST_CASE ("Component rendering", "[engine][rendering]")
{
    PaddedTrack track;
    const auto rendered = track.render (false);

    SECTION ("ten components add up to the track, and are silent where it is silent")
    {
        double worst = 0.0;
        float loudestInPause = 0.0f;

        for (std::int64_t i = 0; i < PaddedTrack::length; ++i)
        {
            const auto sample = static_cast<std::size_t> (i);
            double sum = 0.0;

            for (const auto& samples : rendered.signals)
            {
                sum += static_cast<double> (samples[sample]);

                if (i >= PaddedTrack::pauseStart + 1024 && i < PaddedTrack::pauseEnd - 1024)
                    loudestInPause = std::max (loudestInPause, std::abs (samples[sample]));
            }

            worst = std::max (worst, std::abs (sum - static_cast<double> (track.source.samples[sample])));
        }

        CHECK (worst < 2.0e-6);
        CHECK (loudestInPause == 0.0f);
    }

    SECTION ("levels are those of the signals")
    {
        const auto squares = [] (const std::vector<float>& samples)
        {
            double sum = 0.0;

            for (const auto x : samples)
                sum += static_cast<double> (x) * static_cast<double> (x);

            return sum;
        };

        CHECK (rendered.levels.source == Approx (squares (track.source.samples)).epsilon (1.0e-6));

        for (std::size_t k = 0; k < numComponents; ++k)
        {
            const auto& samples = rendered.signals[k];
            const auto isQuieter = [] (float a, float b) { return std::abs (a) < std::abs (b); };
            CHECK (rendered.levels.component[k] == Approx (squares (samples)).epsilon (1.0e-6));
            CHECK (rendered.levels.peak[k]
                   == std::abs (*std::max_element (samples.begin(), samples.end(), isQuieter)));
            CHECK (rendered.levels.hasFinite[k]);
        }
    }

    SECTION ("segments come out the same in any order, on every target")
    {
        onEveryTarget (
            [&]
            {
                const auto again = track.render (true);
                CHECK (again.signals == rendered.signals);
                CHECK (again.levels.component == rendered.levels.component);
                CHECK (again.levels.peak == rendered.levels.peak);
            });
    }
}

TEST_CASE ("Lane kernels", "[engine][numerics]")
{
    constexpr std::size_t n = 1024, bins = 513, stride = 528, numBands = 2;
    RandomStream random (9);
    AlignedBuffer a (2 * n * lanes), b (n * lanes), scales (lanes), bases (10 * stride), h (10 * lanes);
    const std::vector<float> weights{ 0.5f, 1.0f, 0.25f, 2.0f };
    const std::vector<std::size_t> firstBin{ 3, 511 }, sizes{ 3, 1 };

    for (auto* buffer : { &a, &b, &scales, &bases, &h })
        for (auto& x : buffer->span())
            x = random.next() + (buffer == &a || buffer == &b ? -0.5f : 0.0f);

    for (std::size_t k = 0; k < 10; ++k)
        bases[k * stride + 7] = 0.0f; // a dead bin: divided by the floor, not by zero

    onEveryTarget (
        [&]
        {
            std::array<double, lanes> energies, products, squares;
            AlignedBuffer magnitudes (bins * lanes), powers (numBands * lanes), quotient (2 * bins * lanes);
            std::copy_n (a.data(), quotient.size(), quotient.data());
            kernels::squaresOfFrames (energies.data(), a.data(), n);
            kernels::productsOfFrames (products.data(), squares.data(), a.data(), b.data(), scales.data(), n);
            kernels::magnitudesOfFrames (magnitudes.data(), a.data(), bins);
            kernels::bandPowersOfFrames (
                powers.data(), magnitudes.data(), weights.data(), firstBin.data(), sizes.data(), numBands);
            kernels::divideFramesByModel (quotient.data(), bases.data(), stride, h.data(), bins);

            for (std::size_t l = 0; l < lanes; ++l)
            {
                const auto at = [l] (const AlignedBuffer& buffer, std::size_t i)
                { return static_cast<double> (buffer[i * lanes + l]); };
                double energy = 0.0, product = 0.0, square = 0.0;

                for (std::size_t i = 0; i < n; ++i)
                {
                    const auto scaled = at (b, i) * static_cast<double> (scales[l]);
                    energy += at (a, i) * at (a, i);
                    product += at (a, i) * scaled;
                    square += scaled * scaled;
                }

                CHECK (energies[l] == Approx (energy).epsilon (1.0e-5));
                CHECK (products[l] == Approx (product).margin (1.0e-5 * std::sqrt (energy * square)));
                CHECK (squares[l] == Approx (square).epsilon (1.0e-5));

                const auto magnitude = [&] (std::size_t f)
                { return std::hypot (at (a, 2 * f), at (a, 2 * f + 1)); };
                const auto sum = 0.5 * magnitude (3) + magnitude (4) + 0.25 * magnitude (5);
                CHECK (at (powers, 0) == Approx (sum * sum).epsilon (1.0e-5));
                CHECK (at (powers, 1) == Approx (std::pow (2.0 * magnitude (511), 2.0)).epsilon (1.0e-5));

                for (const std::size_t f : { 0u, 7u, 512u })
                {
                    double model = 0.0;

                    for (std::size_t k = 0; k < 10; ++k)
                        model += at (h, k) * static_cast<double> (bases[k * stride + f]);

                    model = std::max (model, 1.0e-24);
                    CHECK (at (quotient, 2 * f) == Approx (at (a, 2 * f) / model).epsilon (1.0e-5));
                    CHECK (at (quotient, 2 * f + 1) == Approx (at (a, 2 * f + 1) / model).epsilon (1.0e-5));
                }
            }
        });
}
