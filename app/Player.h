#pragma once

#include "model/Group.h"
#include "model/TessivarWorkspace.h"
#include "playback/PlaybackDevice.h"
#include "playback/PlaybackEngine.h"

#include <functional>
#include <memory>
#include <set>

namespace tessivar
{

/** What is heard of the open work: gives the selected Group to the playback engine, and keeps engine, device
    and transport in step. Times are seconds from the start of the Group. Message thread.
*/
class Player
{
public:
    Player (TessivarWorkspace& workspaceToUse, const ReadAheadSettings& readAhead);
    ~Player();

    /** Opens the sound device; without one everything but sound works. */
    void start();

    /** Called four times a second: looks after the device. */
    void tick();

    /** Brings playback in line with the Group and its tracks; does nothing if nothing changed. */
    void show (const Group::Ptr& group, std::uint32_t selectedTrack);

    void setListening (Listening listening) { engine.setListening (listening); }

    /** All tracks of the Group together, each with its own knobs, instead of the selected one alone. */
    void setPlaysWholeGroup (bool shouldPlayAll);
    [[nodiscard]] bool playsWholeGroup() const { return wholeGroup; }

    /** Of the tracks while the whole Group plays; mute comes before solo. */
    void setSolo (std::uint32_t trackId, bool solo);
    void setMute (std::uint32_t trackId, bool mute);
    [[nodiscard]] bool isSolo (std::uint32_t trackId) const { return soloTracks.count (trackId) != 0; }
    [[nodiscard]] bool isMuted (std::uint32_t trackId) const { return mutedTracks.count (trackId) != 0; }

    /** Makes A and B of the selected track equally loud, so that the ear compares them and not their levels.
    */
    void setMatchesLoudness (bool shouldMatch);
    [[nodiscard]] bool matchesLoudness() const { return loudness != nullptr; }

    void play();
    void stop() { engine.stop(); }
    void playOrStop();
    void seek (double seconds);
    void setLoop (std::optional<juce::Range<double>> range); // nothing: plays through
    void setVolumeDb (float levelDb);

    [[nodiscard]] bool canPlay() const;
    [[nodiscard]] bool isPlaying() const { return engine.isPlaying(); }
    [[nodiscard]] double position() const;
    [[nodiscard]] double duration() const;
    /** Dropouts since playback last started because the program or the computer was too slow. */
    [[nodiscard]] std::uint64_t numDropouts() const { return device.numDropouts() - dropoutsBefore; }

    [[nodiscard]] TrackLevels levels (std::uint32_t trackId) const { return engine.levels (trackId); }

    PlaybackEngine engine;
    PlaybackDevice device;

    /** What the user can do about a notice. */
    enum class NoticeAction
    {
        none,
        reopenDevice,
        showPerformance
    };

    /** A sentence for the user: the device was lost, audio can't be read, or playback can't keep up. */
    std::function<void (const juce::String& text, NoticeAction action)> onNotice;

private:
    class LoudnessWorker;

    [[nodiscard]] PlaybackTrack playbackTrackOf (const TrackState& track) const;
    void measureLoudness();
    void applySoloAndMute();
    [[nodiscard]] std::int64_t samplesAt (double seconds) const;

    std::vector<PlaybackTrack> shownTracks;
    double shownRate = 0.0;
    std::uint32_t shownSelection = 0;
    bool wholeGroup = false;
    std::set<std::uint32_t> soloTracks, mutedTracks;
    std::unique_ptr<LoudnessWorker> loudness; // null: not wanted
    std::uint64_t seenLateBlocks = 0, seenFailedReads = 0, seenDropouts = 0, dropoutsBefore = 0;
    std::uint32_t lastLateNotice = 0, lastReadNotice = 0;

    JUCE_DECLARE_NON_COPYABLE (Player)
};

} // namespace tessivar
