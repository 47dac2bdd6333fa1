#include "app/BleedController.h"
#include "tests/support/MemorySamples.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("What the bleed map shows of a Group", "[app][bleed]")
{
    GroupState group;

    for (const auto* name : { "Kick", "Snare", "Room" })
    {
        TrackState track;
        track.id = static_cast<std::uint32_t> (group.tracks.size() + 1);
        track.name = name;
        track.record.setDrumType (group.tracks.size() < 2 ? DrumType::snare : DrumType::other);
        group.tracks.push_back (track);
    }

    SECTION ("without a map is why there is none, and what to do")
    {
        CHECK (bleedStateFor (group, 1).message
               == "Analyze by the refined method to see whose leakage is in here.");
        CHECK (bleedStateFor (group, 1).buttonText.isNotEmpty());
        group.analysis = GroupState::Analysis{ AnalysisMethod::refined, 1, 3 };
        CHECK (bleedStateFor (group, 1).message.startsWith ("This analysis was made without"));
        group.tracks.resize (1);
        CHECK (bleedStateFor (group, 1).buttonText.isEmpty());
    }

    SECTION ("follows knobs and the order of the tracks")
    {
        BleedMap map (2);

        for (std::size_t focus = 0; focus < BleedMap::numFocusSteps; ++focus)
        {
            map.power (0, 0, 0, focus) = map.power (1, 1, 0, focus) = 1.0f;
            map.power (0, 1, 0, focus) = focus == 0 ? 0.1f : 0.001f;
        }

        group.analysis =
            GroupState::Analysis{ AnalysisMethod::refined, 1, 3, std::make_shared<const BleedMap> (map) };

        for (std::size_t i = 0; i < 2; ++i)
        {
            group.tracks[i].findings.bleedPlace = i;
            group.tracks[i].rendered =
                std::make_shared<MemorySamples> (channelLayout::numRendered, std::vector<float> (70));
            group.tracks[i].record.setKnobs (KnobSetting::a, { 5.0f, 0.0f });
        }

        std::swap (group.tracks[0], group.tracks[1]);
        const auto snareInKick = [&] { return bleedStateFor (group, 1).cell (1, 0); };
        REQUIRE (bleedStateFor (group, 1).drums.size() == 2);
        CHECK (snareInKick().before == Approx (-10.0).margin (0.001));
        CHECK (snareInKick().after == Approx (-30.0).margin (0.001));
        group.tracks[1].record.select (KnobSetting::b); // Focus 0
        CHECK (snareInKick().after == Approx (-10.0).margin (0.001));
        CHECK_FALSE (bleedStateFor (group, 1).cell (0, 1).before);

        for (auto& track : group.tracks)
            track.findings.sharedDrum = 1;

        CHECK (snareInKick().isSameDrum);
        group.tracks.erase (group.tracks.begin()); // the snare
        CHECK (bleedStateFor (group, 1).drums.size() == 1);
    }
}
