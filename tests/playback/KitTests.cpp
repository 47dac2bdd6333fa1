#include "tests/playback/PlaybackFixtures.h"
#include "tests/support/SampleChecks.h"

#include <catch2/catch.hpp>

#include <cmath>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr std::int64_t length = 96000;
constexpr int rampLength = 480;
constexpr float lsbOf24Bits = 1.0f / 8388608.0f;

std::shared_ptr<TrackSamples> noise (std::uint32_t seed, int channels = 7)
{
    return std::make_shared<FormulaSamples> (channels, length, seed);
}

/** The sum of what the tracks' exports hold, each times its gain. */
std::vector<float> sumOfExports (const std::vector<PlaybackTrack>& tracks,
                                 const std::vector<float>& gains,
                                 std::int64_t at,
                                 std::int64_t count,
                                 bool ofSources = false)
{
    std::vector<double> sum (static_cast<std::size_t> (count));

    for (std::size_t t = 0; t < tracks.size(); ++t)
    {
        const auto one = ofSources ? sourceOf (*tracks[t].samples, at, count)
                                   : exported (*tracks[t].samples, tracks[t].mix.setting(), at, count);

        for (std::size_t i = 0; i < one.size(); ++i)
            sum[i] += static_cast<double> (gains[t]) * static_cast<double> (one[i]);
    }

    return { sum.begin(), sum.end() };
}
} // namespace

TEST_CASE ("A kit of 24 tracks is the sum of its exports", "[playback][kit]")
{
    std::vector<PlaybackTrack> tracks;
    std::vector<float> gains;

    // Every sixth track is an overhead, which has its source alone.
    for (std::uint32_t i = 0; i < 24; ++i)
    {
        auto& added =
            tracks.emplace_back (track (i + 1,
                                        noise (i + 1, i % 6 == 5 ? 1 : 7),
                                        { 0.2f * static_cast<float> (i), 0.01f * static_cast<float> (i) }));
        added.mix.settingB = { 5.0f, 0.0f };
        added.mix.usesSettingB = i % 4 == 1;
        added.mix.gain = std::pow (10.0f, (static_cast<float> (i % 7) - 20.0f) / 20.0f);
        gains.push_back (added.mix.gain);
    }

    const auto ofHeard = [&] (auto isHeard)
    {
        auto heard = gains;

        for (std::size_t i = 0; i < heard.size(); ++i)
            heard[i] *= isHeard (i) ? 1.0f : 0.0f;

        return heard;
    };
    EngineRig rig;
    rig.start (tracks);
    rig.engine.setChoice ({ Listening::processed, true, 1 });
    (void) rig.render (1000);
    auto at = rig.engine.position();
    checkSame (rig.render (2000), sumOfExports (tracks, gains, at, 2000), lsbOf24Bits);

    // Several at once are heard in solo, but not one that is muted.
    for (const auto i : { 2u, 5u, 9u })
        tracks[i].mix.solo = true;

    tracks[9].mix.mute = true;

    for (const auto& each : tracks)
        rig.engine.setMix (each.id, each.mix);

    (void) rig.render (rampLength);
    at = rig.engine.position();
    checkSame (rig.render (2000),
               sumOfExports (tracks, ofHeard ([] (std::size_t i) { return i == 2 || i == 5; }), at, 2000),
               lsbOf24Bits);

    // Bypass is of all that is heard.
    rig.engine.setChoice ({ Listening::bypassed, true, 1 });
    (void) rig.render (rampLength);
    at = rig.engine.position();
    checkSame (
        rig.render (2000),
        sumOfExports (tracks, ofHeard ([] (std::size_t i) { return i == 2 || i == 5; }), at, 2000, true),
        lsbOf24Bits);
    CHECK (rig.engine.counters().lateBlocks == 0);
}

TEST_CASE ("From the track to the kit and back there is neither a gap nor a step", "[playback][kit]")
{
    const auto sines = slowSines (length);
    const std::vector<PlaybackTrack> tracks{ track (1, sines, { 4.2f, 0.0f }),
                                             track (2, sines, { 2.0f, 0.0f }) };
    EngineRig rig;
    rig.start (tracks);
    const auto steady = rig.render (9600);
    const auto allowed =
        2.0f * largestStep (part (steady, 480, 9000)) + 0.6f / static_cast<float> (rampLength);

    for (const auto& gains : { std::vector{ 1.0f, 1.0f }, std::vector{ 1.0f, 0.0f } })
    {
        const auto before = rig.engine.position();
        auto heard = rig.render (64);
        rig.engine.setPlaysWholeGroup (gains[1] > 0.0f);
        const auto after = rig.render (1024);
        heard.insert (heard.end(), after.begin(), after.end());
        CHECK (largestStep (heard) <= allowed);
        CHECK (rig.engine.position() == before + 64 + 1024);
        checkSame (part (heard, 64 + rampLength, 500),
                   sumOfExports (tracks, gains, before + 64 + rampLength, 500),
                   lsbOf24Bits);
    }

    CHECK (rig.engine.counters().lateBlocks == 0);
}
