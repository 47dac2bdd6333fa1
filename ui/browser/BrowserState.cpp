#include "ui/browser/BrowserState.h"

#include "ui/DrumDrawing.h"

#include <algorithm>

namespace tessivar
{
namespace
{

std::optional<std::size_t> indexOf (const std::vector<BrowserRow>& rows, const BrowserSelection& selection)
{
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (rows[i].group == selection.group && rows[i].track == selection.lead)
            return i;
    return {};
}

std::vector<RowId> tracksBetween (const GroupRowState& group, RowId first, RowId last)
{
    std::vector<RowId> between;
    bool inside = false;
    for (const auto& track : group.tracks)
    {
        const auto isEnd = track.id == first || track.id == last;
        if (isEnd || inside)
            between.push_back (track.id);
        if (isEnd)
            inside = ! inside && first != last;
    }
    return between;
}

} // namespace

bool BrowserSelection::contains (RowId track) const
{
    return std::find (tracks.begin(), tracks.end(), track) != tracks.end();
}

std::vector<BrowserRow> visibleRows (const BrowserState& state, BrowserMetrics metrics)
{
    std::vector<BrowserRow> rows;
    int y = 0;
    for (const auto& group : state.groups)
    {
        rows.push_back ({ group.id, 0, y, metrics.groupHeight });
        y += metrics.groupHeight;
        if (! group.open)
            continue;
        for (const auto& track : group.tracks)
        {
            rows.push_back ({ group.id, track.id, y, metrics.trackHeight });
            y += metrics.trackHeight;
        }
        for (const auto& file : group.reading)
        {
            rows.push_back ({ group.id, file.id, y, metrics.trackHeight, true });
            y += metrics.trackHeight;
        }
    }
    return rows;
}

int totalHeight (const BrowserState& state, BrowserMetrics metrics)
{
    const auto rows = visibleRows (state, metrics);
    return rows.empty() ? 0 : rows.back().top + rows.back().height;
}

const GroupRowState* findGroup (const BrowserState& state, RowId id)
{
    for (const auto& group : state.groups)
        if (group.id == id)
            return &group;
    return nullptr;
}

const TrackRowState* findTrack (const BrowserState& state, RowId id)
{
    for (const auto& group : state.groups)
        for (const auto& track : group.tracks)
            if (track.id == id)
                return &track;
    return nullptr;
}

const ReadingRowState* findReading (const BrowserState& state, RowId id)
{
    for (const auto& group : state.groups)
        for (const auto& file : group.reading)
            if (file.id == id)
                return &file;
    return nullptr;
}

float GroupRowState::readFraction() const
{
    auto sum = 0.0f;
    for (const auto& file : reading)
        sum += file.fraction;
    return reading.empty() ? 1.0f : sum / static_cast<float> (reading.size());
}

BrowserSelection afterTrackClick (const BrowserState& state,
                                  const BrowserSelection& selection,
                                  RowId groupId,
                                  RowId track,
                                  bool ctrl,
                                  bool shift)
{
    const auto* group = findGroup (state, groupId);
    BrowserSelection alone{ groupId, track, track, { track } };
    if (group == nullptr || selection.group != groupId || selection.tracks.empty())
        return alone;

    if (shift)
    {
        auto range = selection;
        range.tracks = tracksBetween (*group, selection.anchor, track);
        range.lead = track;
        return range;
    }
    if (! ctrl)
        return alone;

    auto changed = selection;
    changed.tracks.clear();
    for (const auto& candidate : group->tracks)
        if (selection.contains (candidate.id) != (candidate.id == track))
            changed.tracks.push_back (candidate.id);
    // Keep the last selected track: one must always be shown.
    if (changed.tracks.empty())
        return selection;
    changed.anchor = track;
    changed.lead = changed.contains (track) ? track : changed.tracks.front();
    return changed;
}

BrowserSelection afterGroupClick (const BrowserState&, RowId group)
{
    return { group, 0, 0, {} };
}

BrowserSelection
afterArrow (const BrowserState& state, const BrowserSelection& selection, int step, bool shift)
{
    auto rows = visibleRows (state, {});
    std::erase_if (rows, [] (const BrowserRow& row) { return row.reading; });
    if (rows.empty())
        return {};
    auto index = indexOf (rows, selection);
    // The selected track may be hidden in a folded Group, whose row then stands for it.
    if (! index.has_value())
        index = indexOf (rows, { selection.group, 0, 0, {} });
    if (! index.has_value())
        return afterGroupClick (state, rows.front().group);

    const auto next = std::clamp (static_cast<int> (*index) + step, 0, static_cast<int> (rows.size()) - 1);
    const auto& row = rows[static_cast<std::size_t> (next)];
    if (shift && (row.track == 0 || row.group != selection.group))
        return selection;
    if (row.track == 0)
        return afterGroupClick (state, row.group);
    return afterTrackClick (state, selection, row.group, row.track, false, shift);
}

BrowserSelection withoutMissingRows (const BrowserState& state, const BrowserSelection& selection)
{
    const auto* group = findGroup (state, selection.group);
    if (group == nullptr)
        return {};
    BrowserSelection left{ selection.group, 0, 0, {} };
    for (const auto& track : group->tracks)
        if (selection.contains (track.id))
            left.tracks.push_back (track.id);
    if (left.tracks.empty())
        return left;
    left.lead = left.contains (selection.lead) ? selection.lead : left.tracks.front();
    left.anchor = left.contains (selection.anchor) ? selection.anchor : left.lead;
    return left;
}

int seenTop (const std::vector<BrowserRow>& rows, std::size_t index, juce::Range<int> view)
{
    const auto& row = rows[index];
    if (row.track != 0 || view.getLength() < 2 * row.height)
        return row.top;

    if (row.top < view.getStart())
    {
        // Pushed out by the next Group's row or the end of the list.
        auto end = rows.back().top + rows.back().height;
        for (auto next = index + 1; next < rows.size(); ++next)
            if (rows[next].track == 0)
            {
                end = rows[next].top;
                break;
            }
        return std::max (row.top, std::min (view.getStart(), end - row.height));
    }
    if (row.top + row.height <= view.getEnd())
        return row.top;
    for (std::size_t before = 0; before < index; ++before)
        if (rows[before].track == 0 && rows[before].top + rows[before].height > view.getEnd())
            return row.top;
    return view.getEnd() - row.height;
}

std::optional<DropPlace> dropPlaceAt (const BrowserState& state, BrowserMetrics metrics, int y)
{
    int top = 0;
    for (const auto& group : state.groups)
    {
        const auto count = static_cast<int> (group.tracks.size());
        const auto tracksTop = top + metrics.groupHeight;
        const auto numReading = static_cast<int> (group.reading.size());
        const auto bottom = tracksTop + (group.open ? (count + numReading) * metrics.trackHeight : 0);
        if (y < bottom)
        {
            // On a Group's row: to the front of an open Group, to the end of a folded one.
            if (y < tracksTop)
                return DropPlace{ group.id, group.open ? 0 : count, tracksTop };
            const auto index =
                std::clamp ((y - tracksTop + metrics.trackHeight / 2) / metrics.trackHeight, 0, count);
            return DropPlace{ group.id, index, tracksTop + index * metrics.trackHeight };
        }
        top = bottom;
    }
    if (state.groups.empty())
        return {};
    const auto& last = state.groups.back();
    return DropPlace{ last.id, static_cast<int> (last.tracks.size()), top };
}

std::optional<juce::Range<int>> groupExtent (const BrowserState& state, BrowserMetrics metrics, RowId group)
{
    std::optional<juce::Range<int>> extent;
    for (const auto& row : visibleRows (state, metrics))
        if (row.group == group)
        {
            const juce::Range<int> range (row.top, row.top + row.height);
            extent = extent.has_value() ? extent->getUnionWith (range) : range;
        }
    return extent;
}

RowId groupAt (const BrowserState& state, BrowserMetrics metrics, int y)
{
    for (const auto& row : visibleRows (state, metrics))
        if (y >= row.top && y < row.top + row.height)
            return row.group;
    return 0;
}

juce::String accessibleName (const TrackRowState& track)
{
    juce::StringArray parts{ track.name };
    parts.add (track.offeredType   ? juce::String ("sounds like ") + drumTypeNoun (*track.offeredType)
               : track.typeUnknown ? juce::String ("drum type unknown")
               : track.type == DrumType::oh ? juce::String ("Overhead")
                                            : drumName (track.type));
    if (track.sourceMissing)
        parts.add ("source file not found");
    parts.add (track.included ? "included" : "excluded");
    switch (track.mark)
    {
        case TrackRowState::Mark::notAnalysed:
            parts.add ("not analyzed");
            break;
        case TrackRowState::Mark::analysed:
            parts.add ("analyzed");
            break;
        case TrackRowState::Mark::asIs:
            parts.add ("passed through as is");
            break;
        case TrackRowState::Mark::excluded:
            break;
    }
    if (track.focusPercent.has_value())
        parts.add ("Focus " + juce::String (*track.focusPercent) + " percent");
    if (track.strip.has_value() && track.strip->solo)
        parts.add ("solo");
    if (track.strip.has_value() && track.strip->mute)
        parts.add ("muted");
    return parts.joinIntoString (", ");
}

juce::String accessibleName (const ReadingRowState& file)
{
    return file.name + ", " + (file.typeUnknown ? juce::String ("drum type unknown") : drumName (file.type))
           + ", reading, " + juce::String (readPercent (file.fraction)) + " percent";
}

juce::String accessibleName (const GroupRowState& group)
{
    const auto count = group.tracks.size();
    juce::StringArray parts{ group.name, juce::String (count) + (count == 1 ? " track" : " tracks") };
    parts.add (groupMarkText (group).toLowerCase());
    if (group.unsaved)
        parts.add ("not saved");
    return parts.joinIntoString (", ");
}

juce::String groupMarkText (const GroupRowState& group)
{
    if (group.isReading())
        return group.readFraction() > 0.0f
                   ? "Reading " + juce::String (readPercent (group.readFraction())) + " %"
                   : juce::String ("Waiting");
    switch (group.mark)
    {
        case GroupRowState::Mark::analysed:
            return "Analyzed";
        case GroupRowState::Mark::changed:
            return "Changed";
        case GroupRowState::Mark::notAnalysed:
            break;
    }
    return "Not analyzed";
}

juce::String dropText (int numFiles, const juce::String& groupName)
{
    return "Add " + juce::String (numFiles) + (numFiles == 1 ? " file to " : " files to ") + groupName;
}

} // namespace tessivar
