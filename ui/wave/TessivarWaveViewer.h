#pragma once

#include "terms/ChannelLayout.h"
#include "ui/wave/ReductionStrip.h"
#include "ui/wave/SpectrumPlot.h"
#include "ui/wave/WaveBanner.h"
#include "ui/wave/WaveButtons.h"
#include "ui/wave/WaveOverview.h"
#include "ui/wave/WavePlot.h"
#include "ui/wave/WaveRuler.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>
#include <memory>
#include <optional>
#include <vector>

namespace tessivar
{

/** The strip that marks the play position; whoever shows the waveform moves it. The mouse goes through to the
    waveform.
*/
class TessivarTimeMarker : public juce::Component
{
public:
    TessivarTimeMarker() { setInterceptsMouseClicks (false, false); }

    void paint (juce::Graphics& g) override { g.fillAll (juce::Colours::white.withAlpha (0.9f)); }

private:
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarTimeMarker)
};

/** The waveform of one track with ruler, overview and vertical zoom: what is kept in front of what is
    removed, below it, if wanted, the spectrogram, and a strip that tells how much is removed when.

    Knows tracks only as envelopes. The owner supplies a track, its look and the weights of the sounding
    setting, moves the playhead at most once per frame, and answers requests for exact columns from a thread
    of its own. The viewer has no timer; while a track is being read, the owner calls envelopesGrew() a few
    times a second. Message thread.

    Positions are seconds from the start of the track.
*/
class TessivarWaveViewer : public juce::Component, private juce::Slider::Listener, private juce::AsyncUpdater
{
public:
    static constexpr int rulerHeight = 27; // with the seam below it
    static constexpr int overviewHeight = 46;
    static constexpr int zoomColumnWidth = 26;
    static constexpr int stripHeight = 36;

    TessivarWaveViewer();
    ~TessivarWaveViewer() override;

    /** A click or a drag moved the playhead. */
    std::function<void (double seconds)> onPlayheadMoved;
    /** The selection changed, by the mouse or a command of this class; unfinished while the mouse is down. */
    std::function<void (std::optional<WaveRange> selection, bool isFinished)> onLoopChanged;
    /** The mouse has selected another stretch, which starts here; comes after onLoopChanged. */
    std::function<void (double start)> onSelectionMade;
    /** Asks for columns that the pyramids can't give. Only an answer to the newest request is shown, so older
        work may be dropped; every step of a zoom or a knob sends a request, so wait for a pause of 100 ms. A
        wide view asks for minutes of processed signal; an owner that renders whole tracks anyway can supply
        the pyramid by setProcessedEnvelope() and isn't asked again. */
    std::function<void (const WaveEnvelopeRequest&)> onExactEnvelopeNeeded;
    /** Asks for tiles of the spectrogram, the most urgent one first; the newest list takes the place of any
        before. */
    std::function<void (std::vector<SpectrumWish>)> onSpectrumNeeded;
    std::function<void()> onHintButton;

    // What is shown.

    /** Shows another track, or the same one in another state. Zoom, scroll position and selection stay,
        because the tracks of a Group share their time axis. */
    void setTrack (WaveTrack track);
    void clearTrack() { setTrack ({}); }
    /** Sets the colours, and the banner that says what is heard. */
    void setLook (WaveLook look);
    /** Sets the sounding setting's weights: redraws an estimate at once and asks for exact columns. With a
        fade, used between settings A and B, the old drawing turns into the new one while the owner calls
        advanceFade(). */
    void setWeights (const ChannelWeights& weights, bool shouldFade = false);
    /** Advances a fade by the time since the last call; false once it has ended. */
    bool advanceFade (double seconds) { return plot.advanceFade (seconds); }
    /** Shows or hides the two layers; a track that isn't analysed has only one, which is always drawn. */
    void setLayersShown (bool kept, bool removed);
    [[nodiscard]] bool isKeptShown() const noexcept { return scene.showsKept; }
    [[nodiscard]] bool isRemovedShown() const noexcept { return scene.showsRemoved; }
    /** See WaveContent::setProcessed. */
    void setProcessedEnvelope (std::shared_ptr<const EnvelopePyramid> processed);
    /** Blocks were added to the pyramids of the track. */
    void envelopesGrew();
    /** Takes an answer, whole or partial; one to an older request is ignored. */
    void setExactEnvelope (const WaveExactEnvelope& answer);
    void setSpectrumShown (bool shouldShow);
    [[nodiscard]] bool isSpectrumShown() const noexcept { return scene.showsSpectrum; }
    /** Takes a tile of this track or of another one. */
    void setSpectrumTile (std::uint32_t contentId, std::shared_ptr<const SpectrumTile> tile);
    /** How much is removed over the take. */
    [[nodiscard]] ReductionCurve::Stretch reductionOfTake() { return scene.reduction().whole(); }
    /** Shows a line with a button near the lower edge; an empty text removes it. */
    void setHint (const juce::String& text, const juce::String& buttonText);

    // Playhead and loop.

    void setPlayhead (double seconds, bool isPlaying);
    void setFollowing (bool shouldFollow) { scene.view.setFollowing (shouldFollow); }
    void setLooping (bool isLooping);
    /** Doesn't call back. */
    void setSelection (std::optional<WaveRange> selection);
    /** These call back as the mouse does. */
    void clearSelection();
    void setLoopStartToPlayhead();
    void setLoopEndToPlayhead();

    // Zoom.

    void setHorizontalZoom (double zoom);
    void setVerticalZoom (double zoom);
    void zoomHorizontally (int steps)
    {
        setHorizontalZoom (scene.view.horizontalZoom() + steps * waveZoomStep);
    }
    void zoomVertically (int steps) { setVerticalZoom (scene.view.verticalZoom() + steps * waveZoomStep); }
    void zoomTo (WaveRange range);
    void zoomToSelection();
    void fit();
    void setViewStart (double seconds);
    /** Sliders that show and set the zoom, 0 to 0.9 and 0 to 1.4. Neither is owned; the vertical one becomes
        a child of the column beside the waveform. Null removes one. */
    void setHorizontalZoomSlider (juce::Slider* slider);
    void setVerticalZoomSlider (juce::Slider* slider);

    /** Where the loud hits begin, s, ascending. */
    [[nodiscard]] const std::vector<double>& strongHits() { return scene.strongHits(); }
    [[nodiscard]] const WaveViewState& view() const noexcept { return scene.view; }
    /** Sends a pending request at once instead of waiting for the message loop. */
    void sendPendingRequest() { handleUpdateNowIfNeeded(); }

    void paint (juce::Graphics& g) override;
    void paintOverChildren (juce::Graphics& g) override;
    void resized() override;
    void focusGained (FocusChangeType) override { repaint(); }
    void focusLost (FocusChangeType) override { repaint(); }
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;
    /** "playhead 0:49.306, loop 0:48.375 to 0:50.690" */
    [[nodiscard]] juce::String accessibleValue() const;

private:
    void sliderValueChanged (juce::Slider* slider) override;
    void handleAsyncUpdate() override;

    void repaintLanes();
    void contentChanged();
    void viewMoved();
    void selectionMoved (bool isFinished);
    void placePlayhead();
    void placeLanes();
    void placeBanners();
    [[nodiscard]] juce::Rectangle<int> laneArea() const;
    void listenTo (juce::Component::SafePointer<juce::Slider>& held,
                   juce::Slider* slider,
                   const juce::String& title);
    void showZoomOnSliders();
    void tellAssistiveTechnology();

    WaveScene scene;
    double pixelScale = 1.0;
    int playheadX = 0;         // in the plot
    int overviewPlayheadX = 0; // in the overview

    WavePlot plot{ scene };
    SpectrumPlot spectrum{ scene };
    ReductionStrip strip{ scene };
    const std::array<WaveLane*, 3> lanes{ &plot, &spectrum, &strip };
    WaveRuler ruler{ scene };
    WaveOverview overview{ scene };
    WaveZoomColumn zoomColumn;
    TessivarTimeMarker marker;
    WaveBanner stateBanner;
    WaveBanner hint;
    juce::Component::SafePointer<juce::Slider> horizontalSlider;
    juce::Component::SafePointer<juce::Slider> verticalSlider;
};

} // namespace tessivar
