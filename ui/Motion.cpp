#include "ui/Motion.h"

#include <algorithm>
#include <utility>

namespace tessivar::motion
{

namespace
{
bool reduced = true;
}

bool isReduced()
{
    return reduced;
}

void setReduced (bool shouldBeReduced)
{
    reduced = shouldBeReduced;
}

void fadeIn (juce::Component& component)
{
    if (reduced || ! component.isShowing())
    {
        component.setAlpha (1.0f);
        return;
    }
    component.setAlpha (0.0f);
    juce::Desktop::getInstance().getAnimator().animateComponent (
        &component, component.getBounds(), 1.0f, fadeMs, false, 1.0, 1.0);
}

void HoverFade::setOver (bool shouldBeOver)
{
    if (std::exchange (over, shouldBeOver) == shouldBeOver)
        return;
    if (reduced)
    {
        stopTimer();
        share = over ? 1.0f : 0.0f;
    }
    else
    {
        lastTick = juce::Time::getMillisecondCounterHiRes();
        startTimerHz (60);
    }
    component.repaint();
}

void HoverFade::timerCallback()
{
    const auto now = juce::Time::getMillisecondCounterHiRes();
    const auto step = static_cast<float> ((now - std::exchange (lastTick, now)) / hoverMs);
    share = std::clamp (share + (over ? step : -step), 0.0f, 1.0f);
    if (share <= 0.0f || share >= 1.0f)
        stopTimer();
    component.repaint();
}

} // namespace tessivar::motion
