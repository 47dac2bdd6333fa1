#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"
#include "ui/SpokenValue.h"
#include "ui/transport/TransportBar.h"
#include "ui/wave/WaveTimeText.h"

namespace tessivar
{
namespace
{

juce::Font positionFont()
{
    return fonts::inter (24.0f, fonts::Weight::medium);
}

} // namespace

VolumeSlider::VolumeSlider (const ResourceImages& images) : art (images)
{
    setSliderStyle (LinearHorizontal);
    setTextBoxStyle (NoTextBox, true, 0, 0);
    setRange (0.0, 1.0);
    setTitle ("Volume");
    setTooltip ("Volume");
    setWantsKeyboardFocus (true);
    setMouseClickGrabsKeyboardFocus (false);
    setHasFocusOutline (true);
    setDoubleClickReturnValue (true, positionForVolumeDb (0.0f), juce::ModifierKeys::shiftModifier);
    textFromValueFunction = [] (double position) { return volumeText (volumeDbForPosition (position)); };
}

void VolumeSlider::paint (juce::Graphics& g)
{
    g.setImageResamplingQuality (juce::Graphics::highResamplingQuality);
    art.paint (g, *this);
}

TimeField::TimeField (const juce::String& name)
{
    setTitle (name);
    setFont (fonts::inter (13.0f));
    setColour (textColourId, palette::textMid);
    setBorderSize ({ 0, 0, 0, 0 });
    setJustificationType (juce::Justification::centredLeft);
    setEditable (true, false, false);
    setTooltip ("Click to type a time");
    onTextChange = [this]
    {
        const auto typed = parseTime (getText());
        setTime (shown);
        if (typed.has_value())
            call (onTyped, *typed);
    };
}

void TimeField::setTime (double seconds)
{
    shown = seconds;
    if (! isBeingEdited())
        setText (waveTimeText (seconds, 3), juce::dontSendNotification);
}

int TimeField::idealWidth() const
{
    return juce::roundToInt (std::ceil (fonts::tabularWidth (fonts::inter (13.0f), waveTimeText (shown, 3))))
           + 1;
}

void TimeField::paint (juce::Graphics& g)
{
    if (isBeingEdited())
        return;
    g.setColour (isMouseOver() ? palette::textHigh : palette::textMid);
    fonts::drawTabular (
        g, getFont(), getText(), getLocalBounds().toFloat(), juce::Justification::centredLeft);
}

juce::TextEditor* TimeField::createEditorComponent()
{
    auto* box = Label::createEditorComponent();
    box->setInputRestrictions (12, "0123456789:.,");
    box->setColour (juce::TextEditor::backgroundColourId, palette::well);
    box->setIndents (2, 0);
    box->setJustification (juce::Justification::centredLeft);
    return box;
}

PositionDisplay::PositionDisplay()
{
    setTitle ("Position");
    setInterceptsMouseClicks (false, false);
}

void PositionDisplay::setTime (double newSeconds, bool available)
{
    const auto sameText =
        waveTimeText (newSeconds, 3) == waveTimeText (seconds, 3) && available == isAvailable;
    seconds = newSeconds;
    isAvailable = available;
    if (! sameText)
        repaint();
}

int PositionDisplay::widthFor (double time)
{
    return juce::roundToInt (std::ceil (fonts::tabularWidth (positionFont(), waveTimeText (time, 3)))) + 2;
}

void PositionDisplay::paint (juce::Graphics& g)
{
    g.setColour (isAvailable ? palette::textHigh : palette::textDisabled);
    fonts::drawTabular (g,
                        positionFont(),
                        waveTimeText (seconds, 3),
                        getLocalBounds().toFloat().translated (0.0f, -1.0f),
                        juce::Justification::centredLeft);
}

std::unique_ptr<juce::AccessibilityHandler> PositionDisplay::createAccessibilityHandler()
{
    return makeSpokenHandler (
        *this, juce::AccessibilityRole::staticText, [this] { return waveTimeText (seconds, 3); });
}

OutputMeter::OutputMeter()
{
    setTitle ("Output level");
    setInterceptsMouseClicks (false, false);
}

void OutputMeter::update (std::array<float, 2> levelsDb, double elapsed)
{
    for (std::size_t i = 0; i < levels.size(); ++i)
        levels[i].update (levelsDb[i], elapsed);
    repaint();
}

void OutputMeter::paint (juce::Graphics& g)
{
    auto area = getLocalBounds().toFloat();
    const auto barHeight = 5.0f;
    area = area.withSizeKeepingCentre (area.getWidth(), 2.0f * barHeight + 3.0f);
    for (const auto& level : levels)
    {
        const auto bar = area.removeFromTop (barHeight);
        area.removeFromTop (3.0f);
        g.setColour (palette::well);
        g.fillRoundedRectangle (bar, 2.0f);
        const auto filled = bar.withWidth (bar.getWidth() * OutputLevel::fractionFor (level.levelDb));
        if (! filled.isEmpty())
        {
            g.setGradientFill (juce::ColourGradient::horizontal (palette::iceDeep, palette::ice, filled));
            g.fillRoundedRectangle (filled, std::min (2.0f, 0.5f * filled.getWidth()));
        }
        const auto peak = OutputLevel::fractionFor (level.peakDb);
        if (peak <= 0.0f)
            continue;
        g.setColour (level.peakDb > 0.0f ? palette::amber : palette::textMid);
        g.fillRect (bar.withX (std::min (bar.getX() + peak * bar.getWidth(), bar.getRight() - 2.0f))
                        .withWidth (2.0f));
    }
}

} // namespace tessivar
