#include "benchmarks/ui/UiBenchmarks.h"
#include "tests/ui/Snapshots.h"
#include "tests/ui/WaveSignals.h"
#include "tools/gallery/SampleStates.h"

#include "ui/browser/BrowserView.h"
#include "ui/dialogs/ProgressDialog.h"
#include "ui/dock/SettingDock.h"
#include "ui/wave/TessivarWaveViewer.h"

#include <iostream>

namespace tessivar
{

namespace
{

/** The window's areas behind a progress dialog, painted as a window paints what was invalidated. */
class DialogWindow
{
public:
    explicit DialogWindow (const ResourceImages& images) : browser (images), dock (images)
    {
        window.setSize (1280, 800);
        window.addAndMakeVisible (browser);
        browser.setBounds (0, 28, 344, 716);
        browser.setState (test::browserSample (true));
        window.addAndMakeVisible (wave);
        wave.setBounds (345, 76, 831, 466);
        wave.setTrack (test::waveTrack (60.0));
        window.addAndMakeVisible (dock);
        dock.setBounds (345, 543, 935, 202);
        dock.setState (test::dockSample());
        window.addChildComponent (scrim);
        scrim.setBounds (window.getLocalBounds());
        auto content = std::make_unique<ProgressDialog> ("Analyzing Take 3");
        dialog = content.get();
        tell (0);
        scrim.show (std::move (content));
    }

    void tell (int round)
    {
        ProgressState state;
        state.stages = analysisStages (75);
        state.progress = 0.1 + 0.001 * round;
        state.secondsLeft = 100.0 - round;
        dialog->setState (state);
    }

    /** Prints the time of a repaint of these areas of the window. */
    void measure (const std::string& name, float scale, const juce::RectangleList<int>& areas)
    {
        juce::Image picture (juce::Image::RGB,
                             juce::roundToInt (1280.0f * scale),
                             juce::roundToInt (800.0f * scale),
                             true,
                             juce::SoftwareImageType());
        std::vector<double> times;
        for (int i = 0; i < 60; ++i)
        {
            tell (i);
            const auto start = threadMilliseconds();
            juce::Graphics g (picture);
            g.addTransform (juce::AffineTransform::scale (scale));
            g.reduceClipRegion (areas);
            window.paintEntireComponent (g, false);
            times.push_back (threadMilliseconds() - start);
        }
        printTimes (name, times);
    }

    [[nodiscard]] juce::Rectangle<int> cardArea() const { return dialog->getBounds(); }

private:
    juce::Component window;
    BrowserView browser;
    TessivarWaveViewer wave;
    SettingDock dock;
    DialogScrim scrim;
    ProgressDialog* dialog = nullptr;
};

} // namespace

void measureProgressDialog()
{
    test::PaintingFixture fixture;
    for (const auto scale : { 1.0f, 2.0f })
    {
        std::cout << "progress dialog, scale " << scale << "\n";
        DialogWindow stage (fixture.images);
        const auto card = stage.cardArea();
        const auto bar = card.reduced (24).withTrimmedTop (36).withHeight (6).withWidth (140);
        const auto line = card.reduced (24).removeFromBottom (40).withWidth (330);
        juce::RectangleList<int> changed (bar);
        changed.add (line);
        stage.measure ("the whole dialog", scale, card);
        stage.measure ("a bar and the words", scale, changed);
        stage.measure ("the playhead beneath", scale, juce::Rectangle<int> (700, 76, 14, 420));
        stage.measure ("the window", scale, juce::Rectangle<int> (0, 0, 1280, 800));
    }
}

} // namespace tessivar
