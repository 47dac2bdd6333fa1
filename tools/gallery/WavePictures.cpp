#include "terms/DrumType.h"
#include "tests/ui/WaveSignals.h"
#include "tools/gallery/GalleryPages.h"
#include "tools/gallery/Pictures.h"

#include "ui/DrumDrawing.h"
#include "ui/Palette.h"
#include "ui/TessivarKnobComponent.h"
#include "ui/wave/TessivarWaveViewer.h"
#include "ui/wave/WaveTrackHeader.h"

namespace tessivar
{

namespace
{

/** Header and viewer together, as they stand in the window. */
class WaveArea : public juce::Component
{
public:
    WaveArea (const ResourceImages& images, DrumType drum)
        : horizontal (images, 0.0f, nullptr, false), vertical (images, 0.0f, nullptr, false), type (drum)
    {
        horizontal.setRange (0.0, WaveViewState::maxHorizontalZoom);
        vertical.setRange (0.0, WaveViewState::maxVerticalZoom);
        horizontal.setSliderStyle (juce::Slider::LinearHorizontal);
        vertical.setSliderStyle (juce::Slider::LinearVertical);
        for (auto* slider : { &horizontal, &vertical })
            slider->setTextBoxStyle (juce::Slider::NoTextBox, true, 0, 0);
        viewer.setHorizontalZoomSlider (&horizontal);
        viewer.setVerticalZoomSlider (&vertical);
        header.setSlider (&horizontal);
        addAndMakeVisible (header);
        addAndMakeVisible (viewer);
    }

    ~WaveArea() override { header.setSlider (nullptr); }

    void show (WaveLook look)
    {
        header.setContent (
            { "Kick In", { "Kick", "3:42", "24-bit", "mono" }, drumIcon (type), drumColour (type), look });
        viewer.setLook (look);
    }

    void paint (juce::Graphics& g) override { g.fillAll (palette::panel); }

    void resized() override
    {
        auto area = getLocalBounds();
        header.setBounds (area.removeFromTop (WaveTrackHeader::height));
        area.removeFromRight (105);
        viewer.setBounds (area);
    }

    void writeTo (const juce::File& file, float scale)
    {
        (void) test::snapshot (*this, scale); // tells the viewer the scale
        viewer.sendPendingRequest();
        test::writePicture (*this, file, scale);
    }

    TessivarKnobComponent horizontal, vertical;
    WaveTrackHeader header;
    TessivarWaveViewer viewer;
    DrumType type;
};

} // namespace

namespace test
{

void writeWavePictures (const ResourceImages& images, const juce::File& folder)
{
    auto track = test::waveTrack (222.0, 48000.0, 1.45);
    track.colour = drumColour (DrumType::kick);

    WaveArea area (images, DrumType::kick);
    area.setSize (935, 514);
    const auto save = [&] (const juce::String& name, float scale)
    { area.writeTo (folder.getChildFile ("wave-" + name + ".png"), scale); };
    auto& viewer = area.viewer;
    viewer.setTrack (track);
    viewer.setWeights ({ 1.0f, 0, 0, 0, 0, 0.03f, 0 });
    // Exact columns, made anew from the signal, with a half of what is removed before the playhead to tell
    // them apart.
    viewer.onExactEnvelopeNeeded = [&] (const WaveEnvelopeRequest& request)
    {
        if (! request.wantsSource)
            return;
        test::WaveDrums drums (1.45);
        WaveColumnBuilder source (request.firstColumn, request.samplesPerColumn, request.numColumns);
        WaveColumnBuilder processed (request.firstColumn, request.samplesPerColumn, request.numColumns);
        const auto from = waveColumnSamples (request.firstColumn, request.samplesPerColumn).from;
        const auto to =
            waveColumnSamples (request.firstColumn + request.numColumns, request.samplesPerColumn).to;
        std::vector<float> sourceSamples, processedSamples;
        for (auto at = from; at < to; ++at)
        {
            const auto frame = drums.frame (static_cast<double> (at) / 48000.0);
            sourceSamples.push_back (frame[6]);
            processedSamples.push_back (frame[0]);
        }
        source.add (from, sourceSamples);
        processed.add (from, processedSamples);
        viewer.setExactEnvelope (
            { request.serial, request.firstColumn, source.columns(), processed.columns() });
    };

    area.show (WaveLook::processed);
    save ("fit", 1.0f);
    viewer.zoomTo ({ 46.9, 52.7 });
    viewer.setSelection (WaveRange{ 48.375, 50.69 });
    viewer.setLooping (true);
    viewer.setPlayhead (49.306, false);
    for (const auto scale : { 1.0f, 1.5f, 2.0f })
        save ("processed-" + juce::String (juce::roundToInt (scale * 100.0f)), scale);
    area.show (WaveLook::removed);
    save ("removed", 1.0f);
    area.show (WaveLook::bypassed);
    save ("bypassed", 1.0f);
    area.show (WaveLook::notAnalysed);
    viewer.setSelection (std::nullopt);
    viewer.setHint ("Check the drum types, then analyze to unlock Focus.", "Analyze Group");
    save ("not-analysed", 1.0f);
    viewer.setHint ({}, {});

    area.show (WaveLook::processed);
    viewer.zoomTo ({ 49.0, 49.2 });
    viewer.setVerticalZoom (1.2);
    save ("near", 1.0f);
    viewer.setHorizontalZoom (0.9);
    save ("nearest", 2.0f);
    viewer.setVerticalZoom (1.0);
    area.setSize (723, 390);
    viewer.zoomTo ({ 46.9, 52.7 });
    save ("minimum", 1.0f);
}

} // namespace test
} // namespace tessivar
