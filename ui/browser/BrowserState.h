#pragma once

#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/MixStrip.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tessivar
{

/** Identifies a Group or a Track while it is open; assigned by the owner, never 0. */
using RowId = std::int64_t;

/** Peaks of a whole track in equal columns, 0 to 1. While the file loads there are fewer than `numColumns`.
*/
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
    DrumType type = DrumType::other;
    bool typeUnknown = false;            // nobody has told it, which the row asks for
    std::optional<DrumType> offeredType; // one of unknown type sounds like this
    bool included = true;
    Mark mark = Mark::notAnalysed;
    juce::String leakage;            // "leakage -3 dB" once an analysis has estimated it
    juce::String hint;               // what the analysis found, in a sentence
    std::optional<int> focusPercent; // of the sounding setting; none where there is nothing to focus
    bool sourceMissing = false;
    std::optional<float> loading; // 0 to 1 while the file loads
    float sourceLevel = 0.0f;     // at the playhead, 0 to 1 of the bar
    float keptLevel = 0.0f;
    std::shared_ptr<const MiniWave> wave;
    std::optional<MixStrip> strip; // shown in place of the wave while the kit is heard
    bool isHeard = true;           // in the kit: neither muted nor left out by another's solo
};

/** A file on its way into a Group. */
struct ReadingRowState
{
    RowId id = 0; // of no track
    juce::String name;
    DrumType type = DrumType::other;
    bool typeUnknown = false;
    float fraction = 0.0f; // read
};

/** How much of a file on its way has been read. */
struct ReadFraction
{
    RowId id = 0;
    float fraction = 0.0f;
};

/** Whole percent of what was read, all of it only when it is. */
constexpr int readPercent (float fraction)
{
    return static_cast<int> (fraction * 100.0f);
}

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
    std::vector<ReadingRowState> reading{}; // below the tracks

    [[nodiscard]] bool isReading() const { return ! reading.empty(); }
    [[nodiscard]] float readFraction() const; // of all files
};

struct BrowserState
{
    enum class Analyze
    {
        unavailable,
        waiting, // starts when the files are in
        analyze,
        upToDate,
        again
    };

    std::vector<GroupRowState> groups;
    Analyze analyze = Analyze::unavailable;
    AnalysisMethod method = usualMethod;    // chosen for the selected Group, or for new ones
    juce::String standardTime, refinedTime; // of an analysis of the selected Group: "about 6 s"
    bool canExport = false;
    juce::String undoName, redoName; // of the selected Group's next steps; empty: none
};

/** The selected rows. The lead is shown and played: a Track, or the Group when no track is selected. */
struct BrowserSelection
{
    RowId group = 0;
    RowId lead = 0;            // track; 0 when the Group row itself is selected
    RowId anchor = 0;          // where a Shift-click's range starts
    std::vector<RowId> tracks; // all selected tracks of that Group, in its order

    bool contains (RowId track) const;
    friend bool operator== (const BrowserSelection&, const BrowserSelection&) = default;
};

/** A row's place in the list; track is 0 for a Group row. */
struct BrowserRow
{
    RowId group = 0;
    RowId track = 0;
    int top = 0, height = 0; // logical pixels from the top of the list
    bool reading = false;    // track is that of a file on its way
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

/** Rows of all Groups and of the tracks of open ones, from the top. */
std::vector<BrowserRow> visibleRows (const BrowserState& state, BrowserMetrics metrics);
int totalHeight (const BrowserState& state, BrowserMetrics metrics);

const GroupRowState* findGroup (const BrowserState& state, RowId group);
const TrackRowState* findTrack (const BrowserState& state, RowId track);
const ReadingRowState* findReading (const BrowserState& state, RowId file);

/** The selection after a click on a track: that track alone; Ctrl toggles it; Shift extends from the anchor.
    Several tracks can be selected only within one Group; a click elsewhere starts over.
*/
BrowserSelection afterTrackClick (const BrowserState& state,
                                  const BrowserSelection& selection,
                                  RowId group,
                                  RowId track,
                                  bool ctrl,
                                  bool shift);
BrowserSelection afterGroupClick (const BrowserState& state, RowId group);

/** The selection one visible row further down (+1) or up (-1); Shift extends the range. */
BrowserSelection
afterArrow (const BrowserState& state, const BrowserSelection& selection, int step, bool shift);

/** What remains of a selection after rows have gone. */
BrowserSelection withoutMissingRows (const BrowserState& state, const BrowserSelection& selection);

/** Where dragged tracks would land: before the track with this index, and the line that marks it. */
struct DropPlace
{
    RowId group = 0;
    int index = 0;
    int lineY = 0;
    friend bool operator== (const DropPlace&, const DropPlace&) = default;
};
/** Where the top of this row appears while the list is scrolled. Tracks stay in place; the row of the Group
    whose tracks are at the top of the view sticks there until the next Group pushes it out; the first Group
    row below the view sticks to its bottom. @param view  visible part of the list, logical pixels from its
    top
*/
int seenTop (const std::vector<BrowserRow>& rows, std::size_t index, juce::Range<int> view);

std::optional<DropPlace> dropPlaceAt (const BrowserState& state, BrowserMetrics metrics, int y);

/** From the top of a Group's row to the bottom of its last visible track; nothing for an unknown Group. */
std::optional<juce::Range<int>> groupExtent (const BrowserState& state, BrowserMetrics metrics, RowId group);
/** The Group with rows at this height; 0 below the last one. */
RowId groupAt (const BrowserState& state, BrowserMetrics metrics, int y);

/** "Kick In, Kick, included, analyzed, Focus 62 percent" and "Take 3, 8 tracks, changed, not saved". */
juce::String accessibleName (const TrackRowState& track);
juce::String accessibleName (const ReadingRowState& file);
juce::String accessibleName (const GroupRowState& group);

/** "Analyzed", or "Reading 43 %" while files are on their way, and "Waiting" before their turn. */
juce::String groupMarkText (const GroupRowState& group);
juce::String dropText (int numFiles, const juce::String& groupName);

} // namespace tessivar
