#include "ui/browser/MethodChoice.h"

#include "ui/Call.h"
#include "ui/Fonts.h"
#include "ui/Palette.h"

namespace tessivar
{

MethodChoice::MethodButton::MethodButton (MethodChoice& owner,
                                          AnalysisMethod methodToOffer,
                                          const juce::String& word)
    : LookButton (word, ButtonLook::bare, Icon::none), choice (owner), method (methodToOffer)
{
    // The owner decides what a click does; the toolkit only needs to know that this is a toggle.
    setToggleable (true);
    onClick = [this]
    {
        if (! getToggleState())
            call (choice.onChoose, method);
    };
}

void MethodChoice::MethodButton::show (bool isChosen, const juce::String& newTime)
{
    time = newTime;
    setToggleState (isChosen, juce::dontSendNotification);
    setTitle (getButtonText() + " method" + (time.isEmpty() ? juce::String() : ", " + time));
    repaint();
}

juce::String MethodChoice::MethodButton::getTooltip()
{
    return choice.onDescribe != nullptr ? choice.onDescribe (method) : juce::String();
}

void MethodChoice::MethodButton::paintButton (juce::Graphics& g, bool over, bool down)
{
    const auto shown = state (over, down);
    const auto area = getLocalBounds().toFloat();
    drawButtonGround (g, area, look, shown, 5.0f);

    const auto nameFont = fonts::inter (12.0f, fonts::Weight::semibold), timeFont = fonts::inter (12.0f);
    constexpr float gap = 6.0f;
    const auto nameWidth = nameFont.getStringWidthFloat (getButtonText()) + 1.0f;
    const auto timeWidth = time.isEmpty() ? 0.0f : gap + timeFont.getStringWidthFloat (time) + 1.0f;
    auto content = area.withSizeKeepingCentre (std::min (nameWidth + timeWidth, area.getWidth() - 8.0f),
                                               area.getHeight());
    g.setColour (shown.on ? (shown.enabled ? palette::ice : palette::textLow)
                          : (shown.enabled ? palette::textMid : palette::textDisabled));
    g.setFont (nameFont);
    g.drawText (getButtonText(), content.removeFromLeft (nameWidth), juce::Justification::centredLeft, false);
    g.setColour (shown.enabled ? palette::textLow : palette::textDisabled);
    g.setFont (timeFont);
    content.removeFromLeft (gap);
    g.drawText (time, content, juce::Justification::centredLeft, true);
}

MethodChoice::MethodChoice()
{
    setTitle ("Method of analysis");
    addAndMakeVisible (standard);
    addAndMakeVisible (refined);
}

void MethodChoice::show (AnalysisMethod chosen,
                         const juce::String& standardTime,
                         const juce::String& refinedTime)
{
    standard.show (chosen == AnalysisMethod::standard, standardTime);
    refined.show (chosen == AnalysisMethod::refined, refinedTime);
}

void MethodChoice::paint (juce::Graphics& g)
{
    drawFrame (g, getLocalBounds().toFloat(), palette::well, palette::line, 6.0f);
}

void MethodChoice::resized()
{
    auto area = getLocalBounds().reduced (2);
    standard.setBounds (area.removeFromLeft (area.getWidth() / 2));
    refined.setBounds (area);
}

} // namespace tessivar
