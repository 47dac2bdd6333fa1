#include "ui/FocusRings.h"

#include <utility>

namespace tessivar
{
namespace
{

/** A focus that moves so soon after a press of the mouse was moved by it. */
constexpr juce::uint32 mouseReach = 300; // ms

bool shown = true;

void setShown (bool shouldBeShown)
{
    if (std::exchange (shown, shouldBeShown) == shouldBeShown)
        return;
    if (auto* focused = juce::Component::getCurrentlyFocusedComponent())
        focused->getTopLevelComponent()->repaint();
}

} // namespace

bool areFocusRingsShown()
{
    return shown;
}

void showFocusRings()
{
    setShown (true);
}

FocusRingWatch::FocusRingWatch()
{
    juce::Desktop::getInstance().addGlobalMouseListener (this);
    juce::Desktop::getInstance().addFocusChangeListener (this);
}

FocusRingWatch::~FocusRingWatch()
{
    juce::Desktop::getInstance().removeGlobalMouseListener (this);
    juce::Desktop::getInstance().removeFocusChangeListener (this);
    shown = true;
}

void FocusRingWatch::mouseDown (const juce::MouseEvent&)
{
    lastPress = juce::Time::getMillisecondCounter();
    setShown (false);
}

void FocusRingWatch::globalFocusChanged (juce::Component*)
{
    if (juce::Time::getMillisecondCounter() - lastPress > mouseReach)
        setShown (true);
}

} // namespace tessivar
