#pragma once

#include "model/Group.h"
#include "model/TessivarWorkspace.h"
#include "playback/PlaybackDevice.h"
#include "playback/PlaybackEngine.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace tessivar
{

class EqualLoudness;

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

    /** Bypass is of all that is heard; what is removed is heard of the selected track alone. */
    void setListening (Listening newListening);
    [[nodiscard]] Listening listeningTo() const { return listening; }

    /** All tracks of the Group together, each with its own knobs and its strip, instead of the selected one
        alone.
    */
    void setPlaysWholeGroup (bool shouldPlayAll);
    [[nodiscard]] bool playsWholeGroup() const { return wholeGroup; }

    /** Plays the selected track with this setting, whichever its Group says; nothing: back to that one. */
    void setAudition (std::optional<KnobSetting> setting);

    /** Makes source, A, B and what they remove equally loud, so that the ear compares them and not their
        levels.
    */
    void setMatchesLoudness (bool shouldMatch);
    [[nodiscard]] bool matchesLoudness() const { return loudness != nullptr; }

    /** Whether what is heard has been measured. Told when it has, or when the gain has changed. */
    [[nodiscard]] bool isLoudnessKnown() const;
    std::function<void()> onLoudnessMatched;

    /** What equal loudness adds to what is heard, in dB; nothing while that is not known. */
    [[nodiscard]] std::optional<float> matchingGainDb() const;

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
    [[nodiscard]] PlaybackTrack playbackTrackOf (const TrackState& track) const;
    void matchLoudness (std::vector<PlaybackTrack>& tracks);
    void showAgain() { show (shownGroup, shownSelection); }
    [[nodiscard]] std::int64_t samplesAt (double seconds) const;

    std::vector<PlaybackTrack> shownTracks;
    double shownRate = 0.0;
    Group::Ptr shownGroup;
    std::uint32_t shownSelection = 0;
    PlaybackChoice shownChoice;
    Listening listening = Listening::processed;
    bool wholeGroup = false;
    std::optional<KnobSetting> audition;
    std::unique_ptr<EqualLoudness> loudness; // null: not wanted
    std::optional<MatchingGains> kitGains;   // of all tracks together
    std::uint64_t seenLateBlocks = 0, seenFailedReads = 0, seenDropouts = 0, dropoutsBefore = 0;
    std::uint32_t lastLateNotice = 0, lastReadNotice = 0;

    JUCE_DECLARE_NON_COPYABLE (Player)
};

} // namespace tessivar
