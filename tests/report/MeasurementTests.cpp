#include "report/TrackMeasurement.h"

#include "report/Passages.h"
#include "tests/report/ReportFixtures.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
/** dB in a picture at a second and a frequency. */
float levelAt (const SignalPicture& signal, const PictureAxis& axis, double seconds, double frequency)
{
    const SpectrumColumns bands (axis.sampleRate);
    std::size_t band = 0;

    while (bands.frequencyOf (static_cast<double> (band) + 0.5) < frequency)
        ++band;

    const auto column = axis.columnAt (static_cast<std::int64_t> (seconds * axis.sampleRate));
    return SignalPicture::levelOf (signal.levels[column * SpectrumColumns::numBands + band]);
}

TrackMeasurement measured (const TrackState& track, const PictureAxis& axis)
{
    SpectrumColumns spectra (axis.sampleRate);
    return measureTrack (track, nullptr, axis, spectra, {});
}
} // namespace

TEST_CASE ("TrackMeasurement", "[report][measurement]")
{
    // Blocks meet at 2.73 s and 5.46 s, within both tones.
    std::vector<float> kept (reportLength), source;
    addTone (kept, 1000.0, 4.0, 7.0, 0.5f);
    source = kept;
    addTone (source, 200.0, 1.0, 3.0, 0.25f);
    auto track = processedTrack ("Snare", source, kept);
    const auto axis = PictureAxis::of (groupOf ({ track }));

    // A tone between two bands shows in both, a few decibels lower.
    SECTION ("shows a tone at its time and frequency, in the signals that hold it and in no other")
    {
        const auto result = measured (track, axis);
        REQUIRE (result.outcome.isOk());

        for (const auto seconds : { 4.1, 5.46, 6.9 })
        {
            CHECK (levelAt (result.source, axis, seconds, 1000.0) == Approx (-8.0).margin (2.5));
            CHECK (levelAt (result.processed, axis, seconds, 1000.0) == Approx (-8.0).margin (2.5));
            CHECK (levelAt (result.removed, axis, seconds, 1000.0) < -100.0f);
        }

        for (const auto seconds : { 1.1, 2.73, 2.9 })
        {
            CHECK (levelAt (result.source, axis, seconds, 200.0) == Approx (-14.0).margin (2.5));
            CHECK (levelAt (result.processed, axis, seconds, 200.0) < -100.0f);
            CHECK (levelAt (result.removed, axis, seconds, 200.0) == Approx (-14.0).margin (2.5));
        }

        for (const auto seconds : { 0.9, 3.1, 3.9, 7.1 })
            for (const auto frequency : { 200.0, 1000.0, 5000.0 })
                CHECK (levelAt (result.source, axis, seconds, frequency) < -100.0f);
    }

    SECTION ("tells levels, shares and reduction of what it read")
    {
        const auto result = measured (track, axis);

        // Sines: amplitude^2 / 2 over their part of 10 s.
        CHECK (result.meanDb (result.processed) == Approx (10.0 * std::log10 (0.125 * 0.3)).margin (0.01));
        CHECK (result.shareOf (result.removed)
               == Approx (0.03125 * 0.2 / (0.125 * 0.3 + 0.03125 * 0.2)).margin (1e-4));
        CHECK (result.source.peak == Approx (0.5f).margin (1e-4));
        CHECK (result.removed.peak == Approx (0.25f).margin (1e-4));
        CHECK (result.reduction.at (30) == ReductionCurve::deepestDb);
        CHECK (result.reduction.at (110) == Approx (0.0f).margin (0.01));
        CHECK (result.reduction.at (70) == ReductionCurve::nothingToTell);

        const auto passages =
            passagesOf (result, { 3 * axis.lengthInSamples, axis.sampleRate, axis.numColumns });
        REQUIRE (passages.size() == 1); // the take is no longer than one
        CHECK (passages.front().start == 0);
        CHECK (passages.front().length == static_cast<std::int64_t> (reportLength));
    }

    SECTION ("keeps a short track to its own part of the common axis, and finds its hits")
    {
        std::vector<float> hits (static_cast<std::size_t> (2.5 * reportRate));

        for (const auto at : { 0.5, 1.25, 2.0 })
            addTone (hits, 400.0, at, at + 0.05, 0.8f);

        const auto result = measured (trackOf ("Hits", hits), axis);
        REQUIRE (result.hits.size() == 3);
        CHECK (result.hits[1] == Approx (1.25).margin (0.006));
        CHECK (levelAt (result.source, axis, 2.02, 400.0) > -6.0f);
        CHECK (levelAt (result.source, axis, 6.0, 400.0) == SpectrumColumns::floorDb);
        CHECK (result.clippedSamples == 0);
    }

    SECTION ("stops, and tells of audio that can't be read")
    {
        SpectrumColumns spectra (axis.sampleRate);
        CHECK (
            measureTrack (track, nullptr, axis, spectra, { [] { return true; }, {} }).outcome.wasStopped());

        std::dynamic_pointer_cast<MemorySamples> (track.rendered)->fails = true;
        CHECK (measured (track, axis).outcome.reason.find ("no longer there") != std::string::npos);
    }
}
