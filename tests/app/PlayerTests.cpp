#include "tests/playback/PlaybackFixtures.h"
#include "tests/support/SampleChecks.h"

#include "app/Player.h"
#include "terms/ChannelLayout.h"
#include "terms/KnobValues.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr std::int64_t length = 96000;

TrackState analysedTrack (const std::shared_ptr<TrackSamples>& rendered)
{
    TrackState track;
    track.sourceInfo.sampleRate = 48000.0;
    track.rendered = rendered;
    track.source = std::make_shared<ChannelOfSamples> (rendered, channelLayout::source);
    track.record.setLengthInSamples (length);
    track.record.setDrumType (DrumType::kick);
    track.record.setProcessed (true);
    track.record.setKnobs (KnobSetting::a, { 4.2f, 0.0f });
    track.record.setKnobs (KnobSetting::b, { 1.5f, 0.5f });
    return track;
}
} // namespace

TEST_CASE ("The player plays what the Group says", "[app][player]")
{
    const juce::ScopedJuceInitialiser_GUI messages;
    const auto folder = juce::File::createTempFile ("");
    TessivarWorkspace workspace (UserFolders::below (folder));
    const auto first = std::make_shared<FormulaSamples> (7, length, 1),
               second = std::make_shared<FormulaSamples> (7, length, 2);
    const Group::Ptr group (new Group ("take", { analysedTrack (first), analysedTrack (second) }));
    const auto ids = std::pair (group->track (0)->id(), group->track (1)->id());
    Player player (workspace, {});
    player.show (group, ids.first);

    // The place, and what is heard from there, once all ramps are over.
    const auto heard = [&]
    {
        std::vector<float> left (512), right (512);
        float* outputs[] = { left.data(), right.data() };
        player.engine.prepare();
        player.seek (0.5);
        player.engine.play(); // the player itself needs a device

        // The thread that reads may lag behind under load: the block after one that came in time counts.
        auto late = player.engine.counters().lateBlocks;

        for (int i = 0, inTime = 0; i < 10000; ++i)
        {
            const auto at = player.engine.position();
            player.engine.render (outputs, 2, 512);
            inTime = player.engine.counters().lateBlocks == late ? inTime + 1 : 0;
            late = player.engine.counters().lateBlocks;

            if (at >= 24000 + 4800 && inTime > 1)
                return std::pair (at, left);

            juce::Thread::sleep (1);
        }

        FAIL ("the samples never come");
        return std::pair (std::int64_t{}, left);
    };
    const auto isHeard = [&] (KnobValues setting, const std::vector<TrackSamples*>& tracks)
    {
        const auto [at, samples] = heard();
        std::vector<float> expected (512);

        for (auto* track : tracks)
        {
            const auto one = exported (*track, setting, at, 512);
            std::transform (one.begin(), one.end(), expected.begin(), expected.begin(), std::plus<>());
        }

        checkSame (samples, expected, 1.0e-6f);
    };

    isHeard ({ 4.2f, 0.0f }, { first.get() });
    group->selectSetting ({ ids.first, ids.second }, KnobSetting::b);
    player.show (group, ids.first);
    isHeard ({ 1.5f, 0.5f }, { first.get() });
    player.show (group, ids.second);
    isHeard ({ 1.5f, 0.5f }, { second.get() });
    player.setPlaysWholeGroup (true);
    isHeard ({ 1.5f, 0.5f }, { first.get(), second.get() });
    group->setStrip (ids.second, { 0.0f, false, true });
    player.show (group, ids.first);
    isHeard ({ 1.5f, 0.5f }, { first.get() });

    // A blind test turns no knob; the track alone knows neither mute nor level.
    player.setAudition (KnobSetting::a);
    isHeard ({ 4.2f, 0.0f }, { first.get() });
    player.setAudition ({});
    group->setStrip (ids.second, { -60.0f, false, true });
    player.setPlaysWholeGroup (false);
    player.show (group, ids.second);
    isHeard ({ 1.5f, 0.5f }, { second.get() });

    // In the kit, what is removed is heard of the selected track alone.
    player.setPlaysWholeGroup (true);
    player.setListening (Listening::removed);
    const auto [place, removed] = heard();
    const auto source = sourceOf (*second, place, 512), kept = exported (*second, { 1.5f, 0.5f }, place, 512);
    std::vector<float> difference (512);
    std::transform (source.begin(), source.end(), kept.begin(), difference.begin(), std::minus<>());
    checkSame (removed, difference, 1.0e-6f);
    player.setListening (Listening::processed);
    player.show (group, ids.first);

    // An excluded track plays its source.
    group->setExcluded ({ ids.first }, true);
    player.show (group, ids.first);
    const auto [at, samples] = heard();
    checkSame (samples, sourceOf (*first, at, 512), 1.0e-6f);

    player.setLoop (juce::Range<double> (0.25, 1.0));
    CHECK (player.engine.loop() == LoopRange{ 12000, 48000 });

    // Another Group's rate leaves position and loop at their times.
    auto fast = analysedTrack (second);
    fast.sourceInfo.sampleRate = 96000.0;
    const Group::Ptr other (new Group ("fast", { fast }));
    player.seek (0.5);
    player.show (other, other->track (0)->id());
    CHECK (player.position() == Approx (0.5));
    CHECK (player.engine.loop() == LoopRange{ 24000, 96000 });
    workspace.removeGroup (0);
    folder.deleteRecursively();
}

TEST_CASE ("Equal loudness follows what is heard", "[app][player][loudness]")
{
    const juce::ScopedJuceInitialiser_GUI messages;
    const auto folder = juce::File::createTempFile ("");
    TessivarWorkspace workspace (UserFolders::below (folder));
    const Group::Ptr group (new Group ("take",
                                       { analysedTrack (std::make_shared<FormulaSamples> (7, length, 1)),
                                         analysedTrack (std::make_shared<FormulaSamples> (7, length, 2)) }));
    Player player (workspace, {});
    player.show (group, group->track (0)->id());
    auto told = 0;
    player.onLoudnessMatched = [&] { ++told; };
    const auto known = [&]
    {
        for (int i = 0; i < 1000 && ! player.isLoudnessKnown(); ++i)
            juce::MessageManager::getInstance()->runDispatchLoopUntil (10);

        REQUIRE (player.isLoudnessKnown());
        return *player.matchingGainDb();
    };
    CHECK_FALSE (player.matchingGainDb().has_value());
    player.setMatchesLoudness (true);
    const auto processed = known();
    player.setListening (Listening::bypassed);
    REQUIRE (player.isLoudnessKnown()); // all was measured at once
    const auto source = known();
    CHECK (source <= 0.0f);
    CHECK (std::abs (processed - source) > 0.1f);

    // Both settings were measured, other knobs and another track are measured anew.
    player.setListening (Listening::processed);
    group->selectSetting ({ group->track (0)->id() }, KnobSetting::b);
    player.show (group, group->track (0)->id());
    CHECK (player.isLoudnessKnown());
    group->setKnobs ({ group->track (0)->id() }, KnobSetting::b, { 5.0f, 0.0f });
    player.show (group, group->track (0)->id());
    CHECK_FALSE (player.isLoudnessKnown());
    CHECK (player.matchingGainDb().has_value()); // meanwhile the last one, as far as nothing clips by it
    (void) known();
    player.show (group, group->track (1)->id());
    CHECK_FALSE (player.matchingGainDb().has_value());
    (void) known();
    CHECK (told >= 4);

    // In the kit another row changes nothing that is heard, whichever setting its track sounds with.
    player.setPlaysWholeGroup (true);
    const auto kit = known();
    player.show (group, group->track (0)->id());
    CHECK (player.matchingGainDb() == kit);
    CHECK (known() == Approx (kit).margin (0.01));
    player.setPlaysWholeGroup (false);
    player.setMatchesLoudness (false);
    CHECK_FALSE (player.matchingGainDb().has_value());
    folder.deleteRecursively();
}
