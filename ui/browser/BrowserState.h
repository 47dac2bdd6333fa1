#pragma once

#include "ui/DrumLook.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tessivar
{

/** Names a Group or a Track for as long as it is open; handed out by the owner, never 0. */
using RowId = std::int64_t;

/** Peaks of a whole track in equal columns, 0 to 1. While a file loads there are fewer columns than `numColumns`. */
struct MiniWave
{
    int numColumns = 0;
    std::vector<float> source; // as loaded
    std::vector<float> kept;   // of the processed track; empty until analysed
};

struct TrackRowState
{
    enum class Mark
    {
        notAnalysed,
        analysed,
        asIs,    // passed through: type Other, or an overhead
        excluded // left out of analysis, plays its source
    };

    RowId id = 0;
    juce::String name;
    DrumLook type = DrumLook::other;
    bool included = true;
    Mark mark = Mark::notAnalysed;
    juce::String leakage;            // "leakage -3 dB" where an analysis has estimated it
    juce::String hint;               // what the analysis found, in a sentence
    std::optional<int> focusPercent; // of the sounding setting; none where there is nothing to focus
    bool sourceMissing = false;
    std::optional<float> loading; // 0 to 1 while the file loads
    float sourceLevel = 0.0f;     // at the playhead, 0 to 1 of the bar
    float keptLevel = 0.0f;
    std::shared_ptr<const MiniWave> wave;
};

struct GroupRowState
{
    enum class Mark
    {
        notAnalysed,
        analysed,
        changed // since the analysis, which knobs and export still use
    };

    RowId id = 0;
    juce::String name;
    juce::String facts; // "8 tracks · 48 kHz · 3:42"
    bool unsaved = false;
    bool open = true;
    Mark mark = Mark::notAnalysed;
    std::vector<TrackRowState> tracks;
};

struct BrowserState
{
    enum class Analyze
    {
        unavailable,
        analyze,
        upToDate,
        again
    };

    enum class Method
    {
        standard,
        refined
    };

    std::vector<GroupRowState> groups;
    Analyze analyze = Analyze::unavailable;
    Method method = Method::standard; // that the chosen Group's next analysis will use
    bool canExport = false;
};

/** Which rows are chosen. The lead is the one that is shown and played: a Track, or a Group when no track is. */
struct BrowserSelection
{
    RowId group = 0;
    RowId lead = 0;            // track; 0 when the Group row itself is chosen
    RowId anchor = 0;          // where a Shift-click's range begins
    std::vector<RowId> tracks; // all chosen tracks, of that Group, in its order

    bool contains (RowId track) const;
    friend bool operator== (const BrowserSelection&, const BrowserSelection&) = default;
};

/** A place in the list. track is 0 for a Group row. */
struct BrowserRow
{
    RowId group = 0;
    RowId track = 0;
    int top = 0, height = 0; // logical pixels from the top of the list
    friend bool operator== (const BrowserRow&, const BrowserRow&) = default;
};

struct BrowserMetrics
{
    int groupHeight = 46;
    int trackHeight = 57;
};
constexpr BrowserMetrics browserMetrics (bool compact)
{
    return { 46, compact ? 53 : 57 };
}

/** Rows of open Groups and of Groups themselves, from the top. */
std::vector<BrowserRow> visibleRows (const BrowserState& state, BrowserMetrics metrics);
int totalHeight (const BrowserState& state, BrowserMetrics metrics);

const GroupRowState* findGroup (const BrowserState& state, RowId group);
const TrackRowState* findTrack (const BrowserState& state, RowId track);

/** The selection after a click on a track: alone; with Ctrl one more or less; with Shift all from the anchor on.
    A multiple selection stays within one Group; a click elsewhere begins anew.
*/
BrowserSelection afterTrackClick (const BrowserState& state,
                                  const BrowserSelection& selection,
                                  RowId group,
                                  RowId track,
                                  bool ctrl,
                                  bool shift);
BrowserSelection afterGroupClick (const BrowserState& state, RowId group);

/** The selection one visible row further down (+1) or up (-1); with Shift the range grows. */
BrowserSelection
afterArrow (const BrowserState& state, const BrowserSelection& selection, int step, bool shift);

/** What is left of a selection after rows have gone. */
BrowserSelection withoutMissingRows (const BrowserState& state, const BrowserSelection& selection);

/** Where dragged tracks would land: before the track with this index of the Group, and the line that shows it. */
struct DropPlace
{
    RowId group = 0;
    int index = 0;
    int lineY = 0;
    friend bool operator== (const DropPlace&, const DropPlace&) = default;
};
/** Where the row with this index is seen while the list is scrolled: tracks at their places; the row of the Group whose
    tracks are at the top of the view stays there, pushed out by the next Group; and the first Group row below the view
    waits at its bottom. @param view  what is seen of the list, logical pixels from its top
*/
int seenTop (const std::vector<BrowserRow>& rows, std::size_t index, juce::Range<int> view);

std::optional<DropPlace> dropPlaceAt (const BrowserState& state, BrowserMetrics metrics, int y);

/** From the top of a Group's row to the bottom of its last visible track; nothing for an unknown Group. */
std::optional<juce::Range<int>> groupExtent (const BrowserState& state, BrowserMetrics metrics, RowId group);
/** The Group whose rows are at this height; 0 below the last one. */
RowId groupAt (const BrowserState& state, BrowserMetrics metrics, int y);

/** "Kick In, Kick, included, analysed, Focus 62 percent" and "Take 3, 8 tracks, changed, not saved". */
juce::String accessibleName (const TrackRowState& track);
juce::String accessibleName (const GroupRowState& group);

juce::String groupMarkText (GroupRowState::Mark mark);
juce::String dropText (int numFiles, const juce::String& groupName);

} // namespace tessivar
