#pragma once

#include "app/Player.h"
#include "app/TrackActions.h"
#include "app/WaveController.h"
#include "ui/bleed/BleedView.h"

#include <functional>

namespace tessivar
{

/** What the view of the bleed map shows of a Group. Levels are those of the setting that sounds in each
    track. */
[[nodiscard]] BleedState bleedStateFor (const GroupState& group, std::uint32_t selectedTrack);

/** The bleed map of the selected Group, in the place of the waveform while it is open, and what a click in
    it lets hear. Message thread.
*/
class BleedController
{
public:
    BleedController (WaveController& waveToUse, Player& playerToUse, TrackActions& tracksToUse);

    BleedView view;

    [[nodiscard]] bool isOpen() const { return open; }
    void setOpen (bool shouldBeOpen);

    /** The map lies over waveform and spectrum: whoever asks for the spectrum leaves the map. */
    [[nodiscard]] bool isSpectrumSeen() const;
    void showSpectrum (bool shouldShow);

    /** Shows the Group's map while it is open; to be called after the waveform was shown. */
    void show (const Group::Ptr& group, const Track::Ptr& track);

    std::function<void()> onChanged; // open or not, or another selection

private:
    [[nodiscard]] const TrackState* trackAt (std::size_t place) const;
    [[nodiscard]] std::vector<BleedBand> bandsOf (std::size_t microphone, std::size_t drum) const;

    /** Whether so little of a drum is removed that it is heard in the source alone. */
    [[nodiscard]] bool isKept (std::size_t microphone, std::size_t drum) const;
    [[nodiscard]] juce::String describe (std::size_t microphone, std::size_t drum) const;

    /** The hit of a drum at which a microphone's own drum is quietest, s, of those that are nearly the
        loudest. */
    [[nodiscard]] std::optional<double> tellingHit (const TrackState& microphone,
                                                    const TrackState& drum) const;
    void listenTo (std::size_t microphone, std::size_t drum);

    WaveController& wave;
    Player& player;
    TrackActions& tracks;
    GroupState group;                   // as shown
    std::vector<std::size_t> positions; // of the map's tracks in it
    bool open = false;

    JUCE_DECLARE_NON_COPYABLE (BleedController)
};

} // namespace tessivar
