#include "engine/AnalysisPipeline.h"
#include "engine/DrumRecognition.h"
#include "engine/refinement/TracksBySound.h"
#include "tests/support/EngineFixtures.h"

#include <catch2/catch.hpp>

#include <cmath>
#include <initializer_list>
#include <memory>
#include <numbers>
#include <random>
#include <span>
#include <string>
#include <vector>

using namespace tessivar;

namespace
{
constexpr double rate = 48000.0;
using Signal = std::vector<float>;

/** A stroke: a tone that falls by 60 dB in so many seconds, and noise that does so in others. */
struct Stroke
{
    double frequency, toneLevel, toneSeconds;
    double noiseLevel, noiseSeconds;
    bool isBright;
};

constexpr Stroke kick{ 60.0, 0.9, 0.15, 0.01, 0.02, false }, snare{ 200.0, 0.5, 0.12, 0.3, 0.15, false },
    tom{ 140.0, 0.7, 0.7, 0.02, 0.05, false }, floorTom{ 80.0, 0.8, 0.9, 0.02, 0.05, false },
    hiHat{ 400.0, 0.01, 0.05, 0.4, 0.08, true };

/** Played every so many seconds, from a start on, for 20 seconds. */
Signal played (const Stroke& stroke, double start, double interval)
{
    Signal signal (static_cast<std::size_t> (20.0 * rate));
    std::mt19937 random (7);
    std::uniform_real_distribution<double> noise (-1.0, 1.0);
    auto last = 0.0;
    const auto fallen = [] (double t, double seconds) { return std::pow (10.0, -3.0 * t / seconds); };

    for (auto begin = start; begin < 19.0; begin += interval)
        for (std::size_t i = 0; i < static_cast<std::size_t> (rate); ++i)
        {
            const auto t = static_cast<double> (i) / rate, sample = noise (random);
            const auto hiss = stroke.isBright ? sample - last : sample;
            last = sample;
            signal[static_cast<std::size_t> (begin * rate) + i] +=
                static_cast<float> (stroke.toneLevel * fallen (t, stroke.toneSeconds)
                                        * std::sin (2.0 * std::numbers::pi * stroke.frequency * t)
                                    + stroke.noiseLevel * fallen (t, stroke.noiseSeconds) * hiss);
        }

    return signal;
}

/** What is told of these tracks, a dash for nothing. */
std::vector<std::string> told (std::span<const HeardTrack> tracks)
{
    std::vector<std::string> words;

    WorkerPool pool (2);
    const auto sounds = hearDrums (tracks, rate, pool, {});
    REQUIRE (sounds);

    for (const auto& drum : recognizeDrums (tracks, *sounds))
        words.emplace_back (drum ? drumTypeKey (*drum) : "-");

    return words;
}

using Microphones = std::vector<std::unique_ptr<test::MemorySource>>;

/** One for each drum, of which every one hears everything, and a room. */
Microphones
record (const std::vector<Signal>& drums, float leakage, std::initializer_list<float> roomLevels = {})
{
    Microphones microphones;
    const auto add = [&] (const auto& gainOf)
    {
        Signal sum (drums.front().size());

        for (std::size_t drum = 0; drum < drums.size(); ++drum)
            for (std::size_t i = 0; i < sum.size(); ++i)
                sum[i] += gainOf (drum) * drums[drum][i];

        microphones.push_back (std::make_unique<test::MemorySource> (std::move (sum)));
    };

    for (std::size_t own = 0; own < drums.size(); ++own)
        add ([&] (std::size_t drum) { return drum == own ? 1.0f : leakage; });

    if (roomLevels.size() > 0)
        add ([&] (std::size_t drum) { return roomLevels.begin()[drum]; });

    return microphones;
}

/** What all of them are told to sound like. */
std::vector<std::string>
heardIn (const std::vector<Signal>& drums, float leakage, std::initializer_list<float> roomLevels = {})
{
    std::vector<HeardTrack> tracks;
    const auto microphones = record (drums, leakage, roomLevels);

    for (const auto& microphone : microphones)
        tracks.push_back ({ microphone.get(), DrumType::other, true });

    return told (tracks);
}

std::vector<TrackBySound> bySound (const Microphones& microphones, const std::vector<DrumType>& types)
{
    std::vector<TypedTrack> tracks;

    for (std::size_t i = 0; i < types.size(); ++i)
        tracks.push_back ({ microphones[i].get(), types[i] });

    WorkerPool pool (2);
    auto heard = hearTracks (tracks, rate, pool, {});
    REQUIRE (heard);
    return std::move (*heard);
}

std::vector<DrumType> typesBySound (const Microphones& microphones, const std::vector<DrumType>& typed)
{
    std::vector<DrumType> types;

    for (const auto& track : bySound (microphones, typed))
        types.push_back (track.type);

    return types;
}

/** What the refined method finds in every track, and its channels. */
struct Refined
{
    std::vector<TrackFindings> findings;
    std::vector<std::vector<float>> channels;
};

Refined refined (const Microphones& microphones, const std::vector<DrumType>& types)
{
    std::vector<AnalysisTrack> tracks;

    for (std::size_t i = 0; i < types.size(); ++i)
        tracks.push_back (
            { { types[i], false, rate, microphones[i]->lengthInSamples() }, microphones[i].get() });

    test::MemoryStorage storage (tracks);
    const auto result = analyseTracks (tracks, test::quietOptions (2, AnalysisMethod::refined), storage, {});
    REQUIRE (result.status == AnalysisStatus::completed);
    Refined found;

    for (const auto& [track, sink] : storage.sinks)
    {
        found.findings.push_back (result.tracks[static_cast<std::size_t> (track)].findings);
        found.channels.push_back (sink.frames());
    }

    return found;
}
} // namespace

TEST_CASE ("Drums are told by their hits", "[engine][recognition]")
{
    const std::vector<Signal> kit{ played (kick, 0.25, 1.0),
                                   played (snare, 0.75, 1.0),
                                   played (hiHat, 0.1, 0.5),
                                   played (tom, 3.4, 2.9),
                                   played (floorTom, 4.4, 3.0) };
    const std::vector<std::string> types{ "kick", "snare", "hiHat", "tomHigh", "tomFloor" };

    SECTION ("with and without leakage")
    {
        CHECK (heardIn (kit, 0.0f) == types);
        CHECK (heardIn (kit, 0.15f) == types);
    }

    SECTION ("but not in a room, where every drum is another microphone's")
    {
        auto withRoom = types;
        withRoom.emplace_back ("-");
        CHECK (heardIn (kit, 0.1f, { 0.3f, 0.5f, 0.4f, 0.4f, 0.3f }) == withRoom);
    }

    SECTION ("and nothing is told of what never strikes, or of too few strokes")
    {
        const auto silent = Signal (kit[0].size()), twice = played (snare, 0.5, 10.0);
        auto hum = played ({ 100.0, 0.3, 1.0e6, 0.0, 1.0, false }, 0.0, 1.0);
        CHECK (heardIn ({ kit[0], hum, silent, twice }, 0.0f)
               == std::vector<std::string>{ "kick", "-", "-", "-" });
    }

    SECTION ("and a hi-hat only where there is no other")
    {
        test::MemorySource first (kit[2]), second (kit[2]);
        CHECK (told (std::vector<HeardTrack>{ { &first, DrumType::hiHat, false },
                                              { &second, DrumType::other, true } })
               == std::vector<std::string>{ "-", "-" });
    }
}

TEST_CASE ("Drums go by their sound, whatever their types", "[engine][recognition]")
{
    SECTION ("so that a wrong type changes no result of the refined method")
    {
        auto softHiHat = played (hiHat, 0.1, 0.5);

        for (auto& sample : softHiHat)
            sample *= 0.1f; // the others leak louder

        const auto microphones =
            record ({ played (kick, 0.25, 1.0), played (snare, 0.75, 1.0), softHiHat }, 0.2f);
        const auto right =
            refined (microphones, { DrumType::kick, DrumType::snare, DrumType::hiHat }).channels;

        for (const auto& wrong : { std::vector{ DrumType::kick, DrumType::hiHat, DrumType::hiHat },
                                   std::vector{ DrumType::hiHat, DrumType::kick, DrumType::snare } })
            CHECK ((refined (microphones, wrong).channels == right)); // too long to print
    }

    SECTION ("but where the sound tells nothing, and for overheads, the type stays")
    {
        const auto twice = played (snare, 0.5, 10.0);
        const auto microphones =
            record ({ played (kick, 0.25, 1.0), twice, played (snare, 0.75, 1.0) }, 0.1f);
        CHECK (typesBySound (microphones, { DrumType::tomLow, DrumType::hiHat, DrumType::oh })
               == std::vector{ DrumType::kick, DrumType::hiHat, DrumType::oh });
    }

    SECTION ("and where nothing is surely a kick or a hi-hat, what sounds most like one is")
    {
        constexpr Stroke undamped{ 60.0, 0.9, 0.5, 0.01, 0.02, false },
            dull{ 700.0, 0.3, 0.05, 0.4, 0.08, true };
        const std::vector<Signal> kit{ played (floorTom, 4.4, 3.0),
                                       played (undamped, 0.25, 1.0),
                                       played (snare, 0.75, 1.0),
                                       played (dull, 0.1, 0.5) };
        CHECK (heardIn (kit, 0.1f) == std::vector<std::string>{ "tomFloor", "tomFloor", "snare", "-" });
        const auto microphones = record (kit, 0.1f);
        const std::vector right{ DrumType::tomFloor, DrumType::kick, DrumType::snare, DrumType::hiHat };
        CHECK (typesBySound (microphones, right) == right);
        CHECK (typesBySound (microphones,
                             { DrumType::tomFloor, DrumType::tomFloor, DrumType::snare, DrumType::snare })
               == right);
    }

    SECTION ("and low drums that go on are known to ring, and keep the lowest output that serves")
    {
        constexpr Stroke singing{ 130.0, 0.7, 1.6, 0.02, 0.05, false };
        const auto microphones = record (
            { played (kick, 0.25, 1.0), played (singing, 0.75, 2.0), played (hiHat, 0.1, 0.5) }, 0.1f);
        const auto heard = bySound (microphones, { DrumType::kick, DrumType::tomHigh, DrumType::hiHat });
        CHECK ((! heard[0].rings && heard[1].rings && ! heard[2].rings));

        const auto ofTom =
            refined (microphones, { DrumType::kick, DrumType::tomHigh, DrumType::hiHat }).findings[1];
        INFO (ofTom.bestFocusUpTo[1] << " " << ofTom.bestFocusUpTo[5]);
        CHECK (ofTom.bestFocusUpTo[1] == ofTom.bestFocusUpTo[5]);
    }
}
