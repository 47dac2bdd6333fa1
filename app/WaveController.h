#pragma once

#include "app/Player.h"
#include "app/SpectrumLibrary.h"
#include "app/TrackPresenter.h"
#include "app/WaveformLibrary.h"
#include "terms/ChannelLayout.h"
#include "terms/KnobValues.h"
#include "ui/TessivarKnobComponent.h"
#include "ui/wave/TessivarWaveViewer.h"
#include "ui/wave/WaveTrackHeader.h"

#include <functional>
#include <optional>

namespace tessivar
{

/** The waveform of the selected track and what belongs to it: its header, zoom, playhead, loop and what is
    listened to. Asks the library for what the pyramids can't draw, once nothing has moved for a moment.
    Message thread.
*/
class WaveController
{
public:
    WaveController (const ResourceImages& images, Player& player);
    ~WaveController();

    WaveTrackHeader header;
    TessivarWaveViewer view;
    WaveformLibrary waveforms;
    SpectrumLibrary spectra;

    /** Shows this track, null for none, as its knobs and what is listened to make it. */
    void show (const Group::Ptr& group, const Track::Ptr& track);

    [[nodiscard]] ListenMode listening() const { return mode; }
    void setListening (ListenMode newMode);
    /** Back to the processed signal when it is listened to already. */
    void toggleListening (ListenMode newMode);

    void seek (double seconds); // kept within the Group
    void movePlayhead();        // to where playback is

    [[nodiscard]] bool isLooping() const { return looping; }
    void setLooping (bool shouldLoop);
    [[nodiscard]] std::optional<juce::Range<double>> selection() const; // s
    void select (juce::Range<double> range);

    /** Plays on from the next hit, or the previous one when the step is negative. */
    void seekHit (int step);
    /** Selects from hit to hit; a repeated call makes the selection longer. */
    void selectHit (int step);

    [[nodiscard]] bool isFollowing() const { return following; }
    void setFollowing (bool shouldFollow);

    [[nodiscard]] bool isSpectrumShown() const { return view.isSpectrumShown(); }
    void setSpectrumShown (bool shouldShow);
    void setLayersShown (bool kept, bool removed);

    /** Called for each frame while something moves, and a few times a second otherwise. */
    void tick (double time, double elapsed);

    /** Called a few times a second: true when pyramids have grown, and once more when all have been read. */
    [[nodiscard]] bool haveWaveformsGrown();

    /** The tracks whose waveforms are wanted, the most urgent one first. */
    void setTracks (const std::vector<TrackState>& tracks);

    std::function<void (double seconds)> onAnimate;       // something moves for so long
    std::function<void (double seconds)> onPlayheadMoved; // also when it is still
    std::function<void()> onTransportChanged;             // loop, selection or following
    std::function<void()> onListeningChanged;

private:
    /** A track's whole processed signal as it sounds, which wide views draw. */
    struct ProcessedWish
    {
        std::uint32_t contentId = 0;
        ChannelWeights weights{};
        bool operator== (const ProcessedWish&) const = default;
    };

    void wireHeader();
    void wireView();
    void wishForProcessed (const TrackState& state, const TrackWaveform* waveform);
    void sendExactRequest();

    Player& player;
    TessivarKnobComponent horizontalZoom, verticalZoom;

    Track::Ptr shown;
    KnobSetting shownSetting = KnobSetting::a;
    ListenMode mode = ListenMode::processed;
    bool looping = false, following = true, wasReading = false;

    std::optional<WaveEnvelopeRequest> exactRequest; // waits for a pause
    std::optional<ProcessedWish> processedWish;
    bool processedIsWanted = false; // the wish waits for a pause as well
    double exactRequestAt = 0.0, processedWishAt = 0.0;

    JUCE_DECLARE_NON_COPYABLE (WaveController)
};

} // namespace tessivar
