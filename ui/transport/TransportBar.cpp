#include "ui/transport/TransportBar.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/wave/WaveTimeText.h"

namespace tessivar
{
namespace
{

constexpr int radioGroup = 1; // Track and Kit
constexpr int trackWidth = 54, kitWidth = 42;
constexpr int seam = 1; // at the top; the rest is centred below it

} // namespace

TransportBar::TransportBar (const ResourceImages& images)
    : toStart ("To start", Icon::toStart), play ("Play", Icon::play, ButtonLook::primary),
      loop ("Loop", Icon::loop), follow ("Follow playhead", Icon::follow), volume (images)
{
    setTitle ("Transport");
    setFocusContainerType (FocusContainerType::keyboardFocusContainer);
    for (auto* child : std::initializer_list<juce::Component*>{ &toStart,
                                                                &play,
                                                                &loop,
                                                                &follow,
                                                                &trackAlone,
                                                                &kit,
                                                                &position,
                                                                &loopStart,
                                                                &loopEnd,
                                                                &volume,
                                                                &meter })
        addAndMakeVisible (child);
    addChildComponent (noticeButton);
    play.setIconSize (19.0f);
    for (auto* button : { &toStart, &loop, &follow })
        button->setIconSize (17.0f);
    toStart.setTooltip ("To start [Home]");
    loop.setTooltip ("Loop [L]");
    follow.setTooltip ("Follow playhead [F]");

    for (auto* button : { &trackAlone, &kit })
        button->setRadioGroupId (radioGroup, juce::dontSendNotification);
    trackAlone.setTitle ("Hear the selected track");
    trackAlone.setTooltip ("Hear the selected track alone [T]");
    kit.setTitle ("Hear the kit");
    kit.setTooltip (
        "Hear all tracks of the group, each with its own knobs, level, solo and mute. Bypass then plays "
        "the source of the whole kit, Removed the selected track alone. [T]");
    trackAlone.onClick = [this] { call (onWholeGroup, false); };
    kit.onClick = [this] { call (onWholeGroup, true); };

    toStart.onClick = [this] { call (onToStart); };
    play.onClick = [this] { call (onPlayOrStop); };
    loop.onClick = [this] { call (onLoop, ! state.looping); };
    follow.onClick = [this] { call (onFollow, ! state.following); };
    noticeButton.onClick = [this] { call (noticeAction); };
    volume.onValueChange = [this]
    {
        state.volumeDb = volumeDbForPosition (volume.getValue());
        repaint();
        call (onVolume, state.volumeDb);
    };
    // Swap ends typed in the wrong order: a loop always runs forward.
    loopStart.onTyped = [this] (double start)
    {
        if (state.loop.has_value())
            call (onLoopTyped, juce::Range<double>::between (start, state.loop->getEnd()));
    };
    loopEnd.onTyped = [this] (double end)
    {
        if (state.loop.has_value())
            call (onLoopTyped, juce::Range<double>::between (state.loop->getStart(), end));
    };
    setState (state);
}

void TransportBar::setState (const TransportState& newState)
{
    state = newState;
    showControls();
    position.setTime (state.position, state.hasTrack);
    layOutPosition();
    layOutLoop();
    repaint();
}

void TransportBar::showControls()
{
    const auto canPlay = state.hasTrack && state.playable;
    play.setIcon (state.playing ? Icon::stop : Icon::play);
    play.setLook (state.playing ? ButtonLook::playing : ButtonLook::primary);
    play.setTitle (state.playing ? "Stop" : "Play");
    play.setTooltip (! state.playable ? "No audio device"
                                      : (state.playing ? "Stop [Space]" : "Play [Space]"));
    play.setEnabled (canPlay);
    toStart.setEnabled (state.hasTrack);
    loop.setEnabled (state.hasTrack);
    follow.setEnabled (state.hasTrack);
    for (auto* button : { &trackAlone, &kit })
        button->setEnabled (state.hasTrack);
    (state.wholeGroup ? kit : trackAlone).setToggleState (true, juce::dontSendNotification);
    loop.setToggleState (state.looping, juce::dontSendNotification);
    // Following is the normal state, so only the colour of its icon shows it.
    follow.setInk (state.following ? palette::ice : palette::textMid);
    follow.setTitle (state.following ? "Follow playhead, on" : "Follow playhead, off");
    if (! volume.isMouseButtonDown())
        volume.setValue (positionForVolumeDb (state.volumeDb), juce::dontSendNotification);
}

void TransportBar::setPosition (double seconds)
{
    state.position = seconds;
    position.setTime (seconds, state.hasTrack);
}

void TransportBar::showNotice (const juce::String& text,
                               const juce::String& action,
                               std::function<void()> onAction,
                               bool warns)
{
    notice = { text, action, warns, NoticeState::secondsShown };
    noticeAction = std::move (onAction);
    noticeButton.setButtonText (action);
    layOutLoop();
    repaint();
    juce::AccessibilityHandler::postAnnouncement (text,
                                                  juce::AccessibilityHandler::AnnouncementPriority::medium);
}

void TransportBar::tick (double elapsed)
{
    if (! notice.tick (elapsed))
        return;
    layOutLoop();
    repaint();
}

void TransportBar::layOutPosition()
{
    const auto longest = std::max (state.position, state.duration);
    const auto timeLeft = kitFrame().getRight() + (isNarrow() ? 12 : 22);
    position.setBounds (timeLeft, 0, PositionDisplay::widthFor (longest), getHeight());
}

juce::Rectangle<int> TransportBar::middleArea() const
{
    const auto total = fonts::tabularWidth (fonts::inter (13.0f), "/ " + waveTimeText (state.duration, 3));
    const auto showsDuration = state.hasTrack && ! isNarrow();
    const auto left =
        position.getRight() + (showsDuration ? juce::roundToInt (total) + 8 : 8) + (isNarrow() ? 8 : 20);
    return juce::Rectangle<int>::leftTopRightBottom (left, 0, volume.getX() - 44, getHeight());
}

void TransportBar::resized()
{
    const auto centre = [&] (int x, int width)
    { return juce::Rectangle<int> (x, (getHeight() - 36) / 2 + seam, width, 36); };
    toStart.setBounds (centre (16, 40));
    play.setBounds (centre (64, 56));
    loop.setBounds (centre (128, 40));
    follow.setBounds (centre (176, 40));
    auto cells = kitFrame().reduced (3);
    trackAlone.setBounds (cells.removeFromLeft (trackWidth));
    kit.setBounds (cells);

    const auto volumeWidth = (isNarrow() ? 84 : 112) + 16;
    meter.setBounds (getWidth() - 126, seam, 110, getHeight());
    layOutPosition();
    volume.setBounds (getWidth() - 159 - 52 - volumeWidth, (getHeight() - 28) / 2 + seam, volumeWidth, 28);
    layOutLoop();
}

juce::Rectangle<int> TransportBar::kitFrame() const
{
    return { isNarrow() ? 224 : 232, (getHeight() - 36) / 2 + seam, trackWidth + kitWidth + 6, 36 };
}

void TransportBar::layOutLoop()
{
    const auto showsLoop = state.hasTrack && state.loop.has_value() && ! notice.isVisible();
    loopStart.setVisible (showsLoop);
    loopEnd.setVisible (showsLoop);
    noticeButton.setVisible (notice.isVisible() && notice.action.isNotEmpty());

    const auto left = middleArea().getX() + 17;
    const auto line = juce::Rectangle<int> (left, getHeight() / 2 - 3, 60, 20);
    if (state.loop.has_value())
    {
        loopStart.setTime (state.loop->getStart());
        loopEnd.setTime (state.loop->getEnd());
        loopStart.setBounds (line.withWidth (loopStart.idealWidth()));
        loopEnd.setBounds (line.withX (loopStart.getRight() + 14).withWidth (loopEnd.idealWidth()));
    }
    const auto textWidth = fonts::inter (13.0f).getStringWidth (notice.text);
    const auto width = noticeButton.idealWidth();
    // A long notice is cut, not its action.
    noticeButton.setBounds (
        std::min (left + textWidth + 12 + (notice.warns ? 22 : 0), middleArea().getRight() + 20 - width),
        (getHeight() - 28) / 2 + seam,
        width,
        28);
}

void TransportBar::paint (juce::Graphics& g)
{
    const auto area = getLocalBounds().toFloat();
    g.setGradientFill (
        juce::ColourGradient::vertical (juce::Colour (0xff12161a), juce::Colour (0xff0e1215), area));
    g.fillAll();
    g.setColour (palette::seam);
    g.fillRect (0, 0, getWidth(), 1);
    g.setColour (palette::line.withAlpha (0.5f));
    g.fillRect (0, 1, getWidth(), 1);

    drawFrame (g, kitFrame().toFloat(), palette::well, palette::line, 8.0f);
    paintDuration (g);
    const auto middle = middleArea();
    g.setColour (palette::line);
    g.fillRect (middle.getX(), getHeight() / 2 - 14 + seam, 1, 28);
    g.fillRect (getWidth() - 143, getHeight() / 2 - 14 + seam, 1, 28);
    if (notice.isVisible())
        paintNotice (g);
    else if (state.hasTrack)
        paintLoop (g);

    drawIcon (g,
              Icon::speaker,
              juce::Rectangle<int> (volume.getX() - 18, getHeight() / 2 - 8 + seam, 17, 17).toFloat(),
              palette::textMid);
    g.setColour (palette::textMid);
    fonts::drawTabular (g,
                        fonts::inter (12.0f),
                        volumeText (state.volumeDb),
                        juce::Rectangle<int> (getWidth() - 159 - 60, seam, 60, getHeight()).toFloat(),
                        juce::Justification::centredRight);
}

void TransportBar::paintDuration (juce::Graphics& g) const
{
    if (! state.hasTrack || isNarrow())
        return;
    const auto area = position.getBounds().toFloat();
    g.setColour (palette::textLow);
    fonts::drawTabular (g,
                        fonts::inter (13.0f),
                        "/ " + waveTimeText (state.duration, 3),
                        area.withX (area.getRight() + 7.0f).withWidth (120.0f).translated (0.0f, 3.0f),
                        juce::Justification::centredLeft);
}

void TransportBar::paintLoop (juce::Graphics& g) const
{
    const auto middle = middleArea();
    const auto left = middle.getX() + 17;
    const auto caption = juce::Rectangle<int> (left, getHeight() / 2 - 15, 120, 14);
    g.setColour (palette::textLow);
    g.setFont (fonts::caption());
    g.drawText (state.loop.has_value() && state.looping ? "LOOP" : "SELECTION",
                caption,
                juce::Justification::centredLeft,
                false);

    const auto font = fonts::inter (13.0f);
    g.setFont (font);
    const auto line = juce::Rectangle<int>::leftTopRightBottom (
        left, getHeight() / 2 - 3, middle.getRight(), getHeight() / 2 + 17);
    if (! state.loop.has_value())
    {
        g.setColour (palette::textMid);
        g.drawText (juce::String::fromUTF8 ("None \xc2\xb7 drag in the waveform"),
                    line,
                    juce::Justification::centredLeft,
                    true);
        return;
    }
    g.setColour (palette::textMid);
    g.drawText (juce::String::fromUTF8 ("\xe2\x80\x93"),
                line.withLeft (loopStart.getRight()).withWidth (14),
                juce::Justification::centred,
                false);
    const auto length =
        juce::String::fromUTF8 (" \xc2\xb7 ") + juce::String (state.loop->getLength(), 3) + " s";
    if (static_cast<float> (line.getRight() - loopEnd.getRight()) < fonts::tabularWidth (font, length))
        return;
    g.setColour (palette::textLow);
    fonts::drawTabular (
        g, font, length, line.withLeft (loopEnd.getRight() + 1).toFloat(), juce::Justification::centredLeft);
}

void TransportBar::paintNotice (juce::Graphics& g) const
{
    auto line = middleArea().withTrimmedLeft (17);
    if (noticeButton.isVisible())
        line.setRight (noticeButton.getX() - 8);
    if (notice.warns)
    {
        drawIcon (g,
                  Icon::warning,
                  line.removeFromLeft (14).withSizeKeepingCentre (14, 14).toFloat(),
                  palette::amber);
        line.removeFromLeft (8);
    }
    g.setColour (notice.warns ? palette::amber : palette::textHigh);
    g.setFont (fonts::inter (13.0f));
    g.drawText (notice.text, line, juce::Justification::centredLeft, true);
}

} // namespace tessivar
