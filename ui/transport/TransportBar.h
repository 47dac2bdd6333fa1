#pragma once

#include "ui/Buttons.h"
#include "ui/ResourceImages.h"
#include "ui/transport/TransportState.h"

namespace tessivar
{

/** The volume slider. A Shift-click or a double-click sets 0 dB; the wheel moves it and, while it has the
    focus, so do the arrow keys. */
class VolumeSlider : public juce::Slider
{
public:
    explicit VolumeSlider (const ResourceImages& images);
    void paint (juce::Graphics& g) override;

private:
    const SliderArt art;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (VolumeSlider)
};

/** A time that can be edited: a click opens it, Enter and losing the focus commit, Escape cancels, invalid
    text changes nothing.
*/
class TimeField : public juce::Label
{
public:
    explicit TimeField (const juce::String& name);

    void setTime (double seconds);
    std::function<void (double)> onTyped;

    void paint (juce::Graphics& g) override;
    /** Width the shown time needs, in logical pixels. */
    int idealWidth() const;

protected:
    juce::TextEditor* createEditorComponent() override;

private:
    double shown = 0.0;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TimeField)
};

/** The position of the playhead in large figures. */
class PositionDisplay : public juce::Component
{
public:
    PositionDisplay();

    /** @param available  false: nothing is open, the figures are grey */
    void setTime (double newSeconds, bool available);
    /** Width a time needs, in logical pixels. */
    static int widthFor (double seconds);

    void paint (juce::Graphics& g) override;
    std::unique_ptr<juce::AccessibilityHandler> createAccessibilityHandler() override;

private:
    double seconds = 0.0;
    bool isAvailable = false;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (PositionDisplay)
};

/** The stereo output level: two bars with held peaks. */
class OutputMeter : public juce::Component
{
public:
    OutputMeter();

    /** Called at display rate. @param elapsed  seconds since the last call */
    void update (std::array<float, 2> levelsDb, double elapsed);
    void paint (juce::Graphics& g) override;

private:
    std::array<OutputLevel, 2> levels;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (OutputMeter)
};

/** The bar at the bottom of the window. It shows a TransportState and reports what the user does. Below a
    width of 1180 it hides the duration and shortens the volume slider.
*/
class TransportBar : public juce::Component
{
public:
    explicit TransportBar (const ResourceImages& images);

    static constexpr int height = 56;

    void setState (const TransportState& newState);

    /** Moves the playhead alone; called at display rate. */
    void setPosition (double seconds);

    OutputMeter& getMeter() { return meter; }

    /** Shows a line in place of the loop for four seconds; the action is a link at its end and may be empty.
    */
    void showNotice (const juce::String& text,
                     const juce::String& action,
                     std::function<void()> onAction,
                     bool warns);
    /** Called by the owner's timer. @param elapsed  seconds since the last call */
    void tick (double elapsed);

    std::function<void()> onToStart, onPlayOrStop;
    std::function<void (bool)> onLoop, onFollow, onWholeGroup;
    std::function<void (float)> onVolume; // dB
    std::function<void (juce::Range<double>)> onLoopTyped;

    void paint (juce::Graphics& g) override;
    void resized() override;

private:
    bool isNarrow() const { return getWidth() < 1180; }
    juce::Rectangle<int> middleArea() const;
    void layOutLoop();
    void showControls();
    void layOutPosition();
    juce::Rectangle<int> kitFrame() const;
    void paintDuration (juce::Graphics& g) const;
    void paintLoop (juce::Graphics& g) const;
    void paintNotice (juce::Graphics& g) const;

    TransportState state;
    NoticeState notice;
    std::function<void()> noticeAction;
    IconButton toStart, play, loop, follow;
    ActionButton trackAlone{ "Track", ButtonLook::bare }, kit{ "Kit", ButtonLook::bare };
    PositionDisplay position;
    TimeField loopStart{ "Loop start" }, loopEnd{ "Loop end" };
    ActionButton noticeButton;
    VolumeSlider volume;
    OutputMeter meter;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TransportBar)
};

} // namespace tessivar
