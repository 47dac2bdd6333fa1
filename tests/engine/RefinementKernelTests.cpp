#include "engine/numerics/RandomStream.h"
#include "engine/numerics/simd/MaskKernels.h"
#include "engine/numerics/simd/PackingKernels.h"
#include "engine/numerics/simd/PathKernels.h"
#include "engine/numerics/simd/SignalKernels.h"
#include "tests/support/EngineFixtures.h"

#include <array>
#include <cmath>
#include <complex>
#include <cstring>
#include <limits>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("Kernels for masks and gains", "[engine][refinement]")
{
    SECTION ("mask and layer gains agree with the library's functions on every target")
    {
        constexpr float weight = 0.396f;
        AlignedBuffer own (64), leakage (64), common (64), gains (64), layer (64), total (64);
        std::vector<float> expectedGains;
        std::vector<std::int16_t> ratios (64);
        std::vector<std::uint16_t> mask (64), expected;

        for (std::size_t i = 0; i < 64; ++i)
        {
            own[i] = std::pow (10.0f, static_cast<float> (i % 16) - 9.0f); // log ratios beyond both limits
            leakage[i] = i % 3 == 0 ? 1.0e-30f : 1.0f;
            common[i] = -30.0f + static_cast<float> (i);
            layer[i] = std::pow (10.0f, static_cast<float> (i % 8) - 6.0f);
            total[i] = std::pow (10.0f, static_cast<float> (i / 8) - 6.0f);
        }

        onEveryTarget (
            [&]
            {
                kernels::packLogRatios (ratios.data(), own.data(), leakage.data(), 64);
                kernels::packMask (mask.data(), ratios.data(), common.data(), weight, 64);
                expected = expected.empty() ? mask : expected;
                CHECK (mask == expected);
                kernels::maskGains (gains.data(), mask.data(), 0.35f, 64);

                for (std::size_t i = 0; i < 64; ++i)
                {
                    const auto ratio =
                        std::log (static_cast<double> (own[i]) / static_cast<double> (leakage[i]));
                    const auto logit = static_cast<double> (common[i])
                                       + static_cast<double> (weight) * std::clamp (ratio, -12.0, 12.0);
                    CHECK (static_cast<double> (gains[i])
                           == Approx (std::pow (1.0 + std::exp (-logit), -0.35)).epsilon (3.0e-4));
                }

                // Four bins of sixteen frames, in which a mean of three is a third of a power.
                AlignedBuffer spectrum (128), history (8), logTotals (64), logits (64), masked (64);

                for (std::size_t i = 0; i < 64; i += 3)
                    spectrum[i / 16 * 32 + i % 16] = std::sqrt (3.0f * layer[i]);

                kernels::logarithms (logTotals.data(), total.data(), 64);
                kernels::bandLogits (logits.data(), ratios.data(), common.data(), 0.2f, 4);
                const kernels::GainEvidence evidence{ logits.data(), logTotals.data(), mask.data(), 1.1f };
                kernels::layerGains (gains.data(), history.data(), spectrum.data(), evidence, 4);
                kernels::maskLayerGains (masked.data(), evidence, 4);
                expectedGains =
                    expectedGains.empty() ? std::vector (gains.data(), gains.data() + 64) : expectedGains;
                CHECK (std::equal (expectedGains.begin(), expectedGains.end(), gains.data()));

                for (std::size_t i = 0; i < 64; ++i)
                {
                    const auto frame = i % 16, bin = i / 16;
                    double power = 0.0;

                    for (auto t = frame < 2 ? 0 : frame - 2; t <= frame; ++t)
                        if ((bin * 16 + t) % 3 == 0)
                            power += static_cast<double> (layer[bin * 16 + t]);

                    const auto logMask = -40.0 / 65535.0 * static_cast<double> (mask[i]);
                    const auto logit = static_cast<double> (common[frame]) + 0.2 * 12.0 / 32767.0 * ratios[i];
                    CHECK (static_cast<double> (logits[i]) == Approx (logit).epsilon (1.0e-5));
                    const auto gainOf = [&] (double logOutput)
                    {
                        const auto z = logit + 1.1 * std::max (-6.0, logOutput);
                        return std::exp (0.15 * logOutput + 0.1 * logMask)
                               / std::pow (1.0 + std::exp (-z), 0.6);
                    };
                    const auto ratio = std::max (power, 1.0e-36) / (static_cast<double> (total[i]) + 1.0e-20);
                    CHECK (static_cast<double> (gains[i])
                           == Approx (gainOf (std::min (0.0, 0.5 * std::log (ratio)))).epsilon (2.0e-5));
                    CHECK (static_cast<double> (masked[i]) == Approx (gainOf (logMask)).epsilon (2.0e-5));
                }
            });
    }
}

TEST_CASE ("Packed powers", "[engine][refinement]")
{
    SECTION ("keep a power within 0.1 %, and stay within their range whatever comes")
    {
        std::vector<float> powers (96), back (96);

        for (std::size_t i = 0; i < 80; ++i)
            powers[i] = std::pow (2.0f, -70.0f + 1.53f * static_cast<float> (i)); // up to 2^51

        powers[80] = 0.0f;
        powers[81] = 1.0e-23f;
        powers[82] = std::numeric_limits<float>::denorm_min();
        powers[83] = 1.0e30f;
        powers[84] = std::numeric_limits<float>::infinity();
        powers[85] = std::numeric_limits<float>::quiet_NaN();
        std::vector<std::uint16_t> codes (96), expected;

        onEveryTarget (
            [&]
            {
                kernels::packPowers (codes.data(), powers.data(), powers.data(), 0.0f, codes.size());
                kernels::unpackPowers (back.data(), codes.data(), codes.size());
                expected = expected.empty() ? codes : expected;
                CHECK (codes == expected);

                for (std::size_t i = 0; i < 80; ++i)
                    CHECK (back[i] == Approx (powers[i]).epsilon (0.00098));

                for (std::size_t i = 80; i < 83; ++i)
                    CHECK (back[i] == 0.0f);

                for (std::size_t i = 83; i < 86; ++i)
                    CHECK (back[i] == Approx (std::pow (2.0f, 54.0f)).epsilon (0.002));

                std::vector<std::uint16_t> lower (codes.size());
                kernels::splitFloats (codes.data(), lower.data(), powers.data(), codes.size());
                kernels::joinFloats (back.data(), codes.data(), lower.data(), codes.size());
                CHECK (std::memcmp (back.data(), powers.data(), sizeof (float) * powers.size()) == 0);
            });
    }
}

TEST_CASE ("Kernels for blocks of sixteen frames", "[engine][refinement]")
{
    // Three blocks of a few bins, and the same frames one after the other.
    constexpr std::size_t numBins = 5, numBlocks = 3, numRows = 2 * numBins, numFrames = 16 * numBlocks;
    RandomStream random (5);
    const auto noise = [&random] (std::size_t n)
    {
        AlignedBuffer values (n);

        for (auto& x : values.span())
            x = random.next() - 0.5f;

        return values;
    };

    const auto spectra = noise (numBlocks * numRows * 16), gains = noise (numBins * 16);
    const auto value =
        [&] (std::size_t row, std::size_t frame) // frames count from 1; the one before is silent
    { return frame == 0 ? 0.0f : spectra[((frame - 1) / 16 * numRows + row) * 16 + (frame - 1) % 16]; };
    const auto power = [&] (std::size_t bin, std::size_t frame)
    {
        const auto re = value (2 * bin, frame), im = value (2 * bin + 1, frame);
        return re * re + im * im;
    };

    SECTION ("take up where the block before ended")
    {
        onEveryTarget (
            [&]
            {
                AlignedBuffer history (numRows), last (numRows), lastMasked (numRows);
                AlignedBuffer means (numBins * 16), delayed (numRows * 16), masked (numBins * 64 + 1);

                for (std::size_t block = 0; block < numBlocks; ++block)
                {
                    const auto* spectrum = spectra.data() + block * numRows * 16;
                    kernels::smoothPowers (means.data(), history.data(), spectrum, numBins);
                    std::copy_n (spectrum, delayed.size(), delayed.data());
                    kernels::delayFrames (delayed.data(), last.data(), numRows);
                    kernels::maskWithDelay (
                        masked.data(), lastMasked.data(), spectrum, gains.data(), numBins);

                    for (std::size_t l = 0; l < 16; ++l)
                        for (std::size_t row = 0; row < numRows; ++row)
                        {
                            const auto bin = row / 2, frame = block * 16 + l + 1; // of the spectrum
                            REQUIRE (delayed[row * 16 + l] == value (row, frame - 1));
                            const auto* now = masked.data() + (4 * bin + row % 2) * 16;
                            REQUIRE (now[l] == gains[bin * 16 + l] * value (row, frame));
                            REQUIRE (now[32 + l] == gains[bin * 16 + (l + 15) % 16] * value (row, frame - 1));
                            const auto before = frame < 2 ? 0.0f : power (bin, frame - 2);
                            REQUIRE (means[bin * 16 + l]
                                     == (1.0f / 3.0f)
                                            * ((before + power (bin, frame - 1)) + power (bin, frame)));
                        }
                }
            });
    }

    SECTION ("sum up what a subtraction takes and what a mask would take")
    {
        const auto* const subtracted = spectra.data() + numRows * 16;
        std::vector<std::uint16_t> mask (numBins * 16);
        std::vector<float> expected;

        for (std::size_t i = 0; i < mask.size(); ++i)
            mask[i] = static_cast<std::uint16_t> (37 * i);

        onEveryTarget (
            [&]
            {
                AlignedBuffer sums (80);
                kernels::subtractionSums (sums.data(), spectra.data(), subtracted, mask.data(), numBins);
                expected = expected.empty() ? std::vector (sums.data(), sums.data() + 80) : expected;
                CHECK (std::equal (expected.begin(), expected.end(), sums.data()));
            });

        for (std::size_t l = 0; l < 16; ++l)
        {
            std::array<double, 5> sums{};

            for (std::size_t bin = 0; bin < numBins; ++bin)
            {
                const auto at = 2 * bin * 16 + l;
                const std::complex<double> x (static_cast<double> (spectra[at]),
                                              static_cast<double> (spectra[at + 16])),
                    taken (static_cast<double> (subtracted[at]), static_cast<double> (subtracted[at + 16]));
                const auto share = 1.0 - std::exp (-40.0 / 65535.0 * mask[bin * 16 + l]);
                const auto masked = share * x;
                sums[0] += std::norm (x - taken);
                sums[1] += std::norm (taken);
                sums[2] += std::norm (masked);
                sums[3] += (taken * std::conj (masked)).real();
                sums[4] += share * std::norm (x);
            }

            for (std::size_t k = 0; k < sums.size(); ++k)
                CHECK (static_cast<double> (expected[k * 16 + l])
                       == Approx (sums[k]).epsilon (1.0e-4).margin (1.0e-5));
        }
    }

    SECTION ("tell own drum and leakage apart in what gains keep")
    {
        std::vector<std::uint16_t> mask (numBins * 16);
        AlignedBuffer all (mask.size()), kept (mask.size()), foreign (mask.size()), sums (32);
        std::vector<float> expected;

        for (std::size_t i = 0; i < mask.size(); ++i)
        {
            mask[i] = static_cast<std::uint16_t> (53 * i);
            all[i] = 1.0f + static_cast<float> (i % 7);
            kept[i] = static_cast<float> (i % 11) / 10.0f;
        }

        onEveryTarget (
            [&]
            {
                kernels::foreignPowers (foreign.data(), all.data(), mask.data(), mask.size());
                kernels::keptPowers (sums.data(), foreign.data(), all.data(), kept.data(), numBins);
                expected = expected.empty() ? std::vector (sums.data(), sums.data() + 32) : expected;
                CHECK (std::equal (expected.begin(), expected.end(), sums.data()));
            });

        for (std::size_t l = 0; l < 16; ++l)
        {
            double leakage = 0.0, own = 0.0;

            for (auto i = l; i < mask.size(); i += 16)
            {
                const auto whole = static_cast<double> (all[i]), gain = static_cast<double> (kept[i]);
                const auto part = whole * (1.0 - std::exp (-40.0 / 65535.0 * mask[i]));
                leakage += std::min (part, whole * (1.0 - gain * gain)) * gain * gain;
                own += (whole - part) * gain * gain;
            }

            CHECK (static_cast<double> (expected[l]) == Approx (leakage).epsilon (1.0e-4));
            CHECK (static_cast<double> (expected[16 + l]) == Approx (own).epsilon (1.0e-4));
        }
    }

    SECTION ("sum up bins, paths and products as plain loops do")
    {
        constexpr std::size_t numDrums = 3, numMicrophones = 5, stride = numBins * 64;
        const auto drums = noise (numDrums * stride), paths = noise (numBins * numMicrophones * numDrums * 4);
        const auto rows = noise (2 * numDrums * numFrames), weights = noise (numFrames);
        std::vector<float> expected;

        onEveryTarget (
            [&]
            {
                AlignedBuffer sums (numMicrophones * numRows * 16);
                std::vector<float> ofBins (16), products (2 * numDrums * numDrums);
                std::vector<float*> dest;
                std::vector<const float*> real, imaginary;

                for (std::size_t i = 0; i < numMicrophones; ++i)
                    dest.push_back (sums.data() + i * numRows * 16);

                for (std::size_t j = 0; j < numDrums; ++j)
                {
                    real.push_back (rows.data() + 2 * j * numFrames);
                    imaginary.push_back (real.back() + numFrames);
                }

                kernels::sumRows (ofBins.data(), drums.data(), numDrums * stride / 16);
                kernels::addPaths (
                    dest.data(), numMicrophones, drums.data(), stride, numDrums, paths.data(), numBins);
                kernels::weightedProducts (
                    products.data(), real.data(), imaginary.data(), numDrums, weights.data(), numFrames);

                for (std::size_t l = 0; l < 16; ++l)
                {
                    double sum = 0.0;

                    for (std::size_t i = l; i < drums.size(); i += 16)
                        sum += static_cast<double> (drums[i]);

                    CHECK (static_cast<double> (ofBins[l]) == Approx (sum).margin (1.0e-5));
                }

                using Complex = std::complex<double>;
                const auto at = [] (const float* re, const float* im)
                { return Complex (static_cast<double> (*re), static_cast<double> (*im)); };

                for (std::size_t i = 0; i < numMicrophones; ++i)
                    for (std::size_t bin = 0; bin < numBins; ++bin)
                        for (std::size_t l = 0; l < 16; ++l)
                        {
                            Complex sum;

                            for (std::size_t tap = 0; tap < 2 * numDrums; ++tap)
                            {
                                const auto* path =
                                    paths.data() + 2 * ((bin * numMicrophones + i) * 2 * numDrums + tap);
                                const auto* z =
                                    drums.data() + tap / 2 * stride + (4 * bin + 2 * (tap % 2)) * 16 + l;
                                sum += at (path, path + 1) * at (z, z + 16);
                            }

                            const auto* found = dest[i] + 2 * bin * 16 + l;
                            REQUIRE (std::abs (at (found, found + 16) - sum) < 1.0e-6);
                        }

                for (std::size_t a = 0; a < numDrums; ++a)
                    for (std::size_t b = 0; b <= a; ++b)
                    {
                        Complex sum;

                        for (std::size_t t = 0; t < numFrames; ++t)
                            sum += static_cast<double> (weights[t])
                                   * std::conj (at (real[a] + t, imaginary[a] + t))
                                   * at (real[b] + t, imaginary[b] + t);

                        const auto* found = products.data() + 2 * (a * numDrums + b);
                        CHECK (std::abs (at (found, found + 1) - sum) < 1.0e-5);
                    }

                std::vector<float> all (sums.data(), sums.data() + sums.size());
                all.insert (all.end(), ofBins.begin(), ofBins.end());
                all.insert (all.end(), products.begin(), products.end());
                expected = expected.empty() ? all : expected;
                CHECK (all == expected); // the same bits on every target
            });
    }
}
