#include "tools/gallery/SampleStates.h"

#include <catch2/catch.hpp>

using namespace tessivar;
using namespace tessivar::test;

namespace
{

constexpr BrowserMetrics metrics{ 46, 57 };

/** Two open Groups: 1 with tracks 11 to 14, 2 with tracks 21 and 22; and 3, folded, with track 31. */
BrowserState threeGroups()
{
    const auto group = [] (RowId id, std::vector<RowId> tracks, bool open)
    {
        GroupRowState made;
        made.id = id;
        made.name = "Group " + juce::String (id);
        made.open = open;
        for (const auto track : tracks)
        {
            TrackRowState row;
            row.id = track;
            made.tracks.push_back (row);
        }
        return made;
    };
    BrowserState state;
    state.groups = { group (1, { 11, 12, 13, 14 }, true),
                     group (2, { 21, 22 }, true),
                     group (3, { 31 }, false) };
    return state;
}

} // namespace

TEST_CASE ("Browser rows", "[ui][browser]")
{
    const auto state = threeGroups();

    SECTION ("lie below each other, without the tracks of folded groups")
    {
        const auto rows = visibleRows (state, metrics);
        REQUIRE (rows.size() == 9);
        CHECK (rows[1] == BrowserRow{ 1, 11, 46, 57 });
        CHECK (rows[5] == BrowserRow{ 2, 0, 46 + 4 * 57, 46 });
        CHECK (totalHeight (state, metrics) == 3 * 46 + 6 * 57);
        CHECK (groupAt (state, metrics, 46 + 4 * 57 - 1) == 1);
        CHECK (groupAt (state, metrics, 46 + 4 * 57) == 2);
        CHECK (groupAt (state, metrics, 5000) == 0);
        CHECK (groupExtent (state, metrics, 2) == juce::Range<int> (274, 274 + 46 + 2 * 57));
        CHECK_FALSE (groupExtent (state, metrics, 9).has_value());
    }

    SECTION ("of files on their way stand below the tracks, and are neither selected nor dragged between")
    {
        auto reading = state;
        reading.groups[0].reading = { { 91, "Kick", DrumType::kick, false, 0.5f },
                                      { 92, "Tk 1", DrumType::other, true, 0.0f } };
        const auto rows = visibleRows (reading, metrics);
        REQUIRE (rows.size() == 11);
        CHECK (rows[5] == BrowserRow{ 1, 91, 46 + 4 * 57, 57, true });
        const auto last = afterTrackClick (reading, {}, 1, 14, false, false);
        CHECK (afterArrow (reading, last, 1, false) == afterGroupClick (reading, 2));
        CHECK (dropPlaceAt (reading, metrics, 46 + 6 * 57 - 2) == DropPlace{ 1, 4, 46 + 4 * 57 });
        CHECK (groupMarkText (reading.groups[0]) == "Reading 25 %");
        CHECK (accessibleName (reading.groups[0].reading[1])
               == "Tk 1, drum type unknown, reading, 0 percent");
    }

    SECTION ("take dragged tracks at the nearest border between rows")
    {
        // 46 is the top of track 11, 103 of track 12.
        CHECK (dropPlaceAt (state, metrics, 10) == DropPlace{ 1, 0, 46 });
        CHECK (dropPlaceAt (state, metrics, 46 + 20) == DropPlace{ 1, 0, 46 });
        CHECK (dropPlaceAt (state, metrics, 46 + 40) == DropPlace{ 1, 1, 103 });
        CHECK (dropPlaceAt (state, metrics, 46 + 4 * 57 - 2) == DropPlace{ 1, 4, 274 });
        // The folded group takes them at its end, as does the space below the last row.
        const auto folded = 274 + 46 + 2 * 57;
        CHECK (dropPlaceAt (state, metrics, folded + 5) == DropPlace{ 3, 1, folded + 46 });
        CHECK (dropPlaceAt (state, metrics, 5000) == DropPlace{ 3, 1, folded + 46 });
        CHECK_FALSE (dropPlaceAt ({}, metrics, 10).has_value());
    }

    SECTION ("of groups keep to the edges of a scrolled list")
    {
        auto sample = state;
        for (auto& group : sample.groups)
            group.open = true;
        const auto rows = visibleRows (sample, metrics);
        const auto topOf = [&] (RowId group, juce::Range<int> view)
        {
            for (std::size_t i = 0; i < rows.size(); ++i)
                if (rows[i].track == 0 && rows[i].group == group)
                    return seenTop (rows, i, view);
            return -1;
        };
        const auto second = groupExtent (sample, metrics, 2)->getStart();
        const auto third = groupExtent (sample, metrics, 3)->getStart();
        // Among its tracks at the top, pushed out by the next one, and gone with its last track.
        CHECK (topOf (1, { 100, 250 }) == 100);
        CHECK (topOf (1, { second - 20, second + 130 }) == second - 46);
        CHECK (topOf (1, { second + 10, second + 160 }) == second - 46);
        // The next one waits at the bottom, the one after it in its place.
        CHECK (topOf (2, { 0, second - 60 }) == second - 60 - 46);
        CHECK (topOf (3, { 0, second - 60 }) == third);
        // Where there is room for all, and where there is none for two, nothing moves.
        CHECK (topOf (2, { 0, 5000 }) == second);
        CHECK (topOf (1, { 20, 80 }) == 0);
    }

    SECTION ("are described in words")
    {
        auto sample = browserSample (true);
        CHECK (accessibleName (sample.groups[0].tracks[0])
               == "Kick In, Kick, included, analyzed, Focus 62 percent");
        sample.groups[1].unsaved = true;
        sample.groups[1].mark = GroupRowState::Mark::changed;
        sample.groups[1].name = "Toms";
        CHECK (accessibleName (sample.groups[1]) == "Toms, 0 tracks, changed, not saved");
        CHECK (dropText (1, "Toms") == "Add 1 file to Toms");
        CHECK (dropText (4, "Take 3") == "Add 4 files to Take 3");
    }
}

TEST_CASE ("Browser selection", "[ui][browser]")
{
    const auto state = threeGroups();
    const auto on12 = afterTrackClick (state, {}, 1, 12, false, false);
    using Ids = std::vector<RowId>;

    SECTION ("grows by Ctrl and by Shift within one group, in the group's order")
    {
        CHECK (on12 == BrowserSelection{ 1, 12, 12, { 12 } });
        const auto with11 = afterTrackClick (state, on12, 1, 11, true, false);
        CHECK (with11.tracks == Ids{ 11, 12 });
        CHECK (with11.lead == 11);
        CHECK (afterTrackClick (state, with11, 1, 13, false, true).tracks == Ids{ 11, 12, 13 });
        const auto range = afterTrackClick (state, on12, 1, 14, false, true);
        CHECK (range.tracks == Ids{ 12, 13, 14 });
        // The range turns about its anchor.
        CHECK (afterTrackClick (state, range, 1, 11, false, true).tracks == Ids{ 11, 12 });
        CHECK (afterTrackClick (state, range, 1, 12, false, true).tracks == Ids{ 12 });
    }

    SECTION ("never becomes empty by Ctrl, and begins anew in another group")
    {
        CHECK (afterTrackClick (state, on12, 1, 12, true, false) == on12);
        const auto both = afterTrackClick (state, on12, 1, 13, true, false);
        const auto without13 = afterTrackClick (state, both, 1, 13, true, false);
        CHECK (without13.tracks == Ids{ 12 });
        CHECK (without13.lead == 12);
        CHECK (afterTrackClick (state, both, 2, 21, true, true).tracks == Ids{ 21 });
    }

    SECTION ("moves over the visible rows and stops at the ends")
    {
        auto selection = afterGroupClick (state, 1);
        for (const RowId expected : { 11, 12, 13, 14, 0, 21, 22, 0, 0 })
        {
            selection = afterArrow (state, selection, 1, false);
            CHECK (selection.lead == expected);
        }
        CHECK (selection.group == 3);
        const auto range = afterArrow (state, on12, 1, true);
        CHECK (range.tracks == Ids{ 12, 13 });
        // A range doesn't reach into the next group.
        const auto on14 = afterTrackClick (state, {}, 1, 14, false, false);
        CHECK (afterArrow (state, on14, 1, true) == on14);
        // A track that a folded group hides is left through the group's row.
        const auto hidden = afterTrackClick (state, {}, 3, 31, false, false);
        CHECK (afterArrow (state, hidden, -1, false).lead == 22);
    }

    SECTION ("loses what is gone and keeps a lead")
    {
        auto smaller = state;
        smaller.groups[0].tracks.erase (smaller.groups[0].tracks.begin() + 1);
        const auto range = afterTrackClick (state, on12, 1, 14, false, true);
        const auto left = withoutMissingRows (smaller, range);
        CHECK (left.tracks == Ids{ 13, 14 });
        CHECK (left.anchor == 14);
        CHECK (withoutMissingRows (smaller, on12) == afterGroupClick (smaller, 1));
        smaller.groups.clear();
        CHECK (withoutMissingRows (smaller, range) == BrowserSelection{});
    }
}
