#pragma once

#include "app/GroupWork.h"
#include "app/WaveformLibrary.h"
#include "model/TessivarWorkspace.h"
#include "terms/AnalysisMethod.h"
#include "ui/browser/BrowserList.h"

#include <map>
#include <set>
#include <vector>

namespace tessivar
{

/** What the browser shows of the workspace. Message thread. */
class BrowserPresenter
{
public:
    BrowserPresenter (TessivarWorkspace& workspaceToShow,
                      const WaveformLibrary& waveformLibrary,
                      const GroupWork& workToShow)
        : workspace (workspaceToShow), waveforms (waveformLibrary), work (workToShow)
    {
    }

    [[nodiscard]] BrowserState makeState();

    /** Of all files on their way into Groups. */
    [[nodiscard]] std::vector<ReadFraction> readFractions() const;

    /** "Reading 24 files" into the selected Group, or that they wait; empty when none are on their way there.
    */
    [[nodiscard]] juce::String readingHeadline() const;

    /** What a track's drum type rests on, in a sentence. */
    [[nodiscard]] juce::String describeType (std::uint32_t trackId) const;

    /** What a method does, and what it takes for the selected Group, in a few lines. */
    [[nodiscard]] juce::String describeMethod (AnalysisMethod method) const;

    /** Levels of the selected Group's tracks at a position in seconds. */
    [[nodiscard]] std::vector<BrowserList::Level> levelsAt (double seconds) const;

    [[nodiscard]] static RowId rowOf (const Group& group);
    [[nodiscard]] static RowId rowOf (const Track& track) { return static_cast<RowId> (track.id()); }
    [[nodiscard]] Group::Ptr groupOf (RowId row) const;
    [[nodiscard]] static std::vector<std::uint32_t> trackIdsOf (const std::vector<RowId>& rows);

    /** Whether rows show how their tracks are heard in the kit. */
    void setShowsStrips (bool shouldShow) { showsStrips = shouldShow; }

    void toggleOpen (RowId group);
    void unfold (const Group& group) { closedGroups.erase (group.id()); }

private:
    struct CachedWave
    {
        std::shared_ptr<const MiniWave> wave;
        KnobValues knobs;
        std::int64_t readySamples = -1;
    };

    /** Folds all but the selected Group after new ones have been opened. */
    void foldOlderGroups();
    [[nodiscard]] TrackRowState rowFor (const GroupState& group, std::size_t index, bool sourceIsThere);
    [[nodiscard]] std::shared_ptr<const MiniWave> miniWaveFor (const TrackState& track);

    TessivarWorkspace& workspace;
    const WaveformLibrary& waveforms;
    const GroupWork& work;
    std::set<std::uint32_t> closedGroups, seenGroups;
    bool showsStrips = false;
    std::map<std::uint32_t, CachedWave> waves; // by content
};

} // namespace tessivar
