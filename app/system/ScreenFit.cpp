#include "app/system/ScreenFit.h"

#include "app/AppSettings.h"

#include <algorithm>
#include <cmath>

namespace tessivar
{

void applyInterfaceSize (const juce::PropertySet& settings)
{
    auto& desktop = juce::Desktop::getInstance();
    const auto* display = desktop.getDisplays().getPrimaryDisplay();

    if (display == nullptr)
        return;

    // The display's area is told in the size that holds now.
    const auto room = display->userArea.toFloat() * desktop.getGlobalScaleFactor();
    desktop.setGlobalScaleFactor (static_cast<float> (
        interfaceScale (settings, juce::roundToInt (room.getWidth()), juce::roundToInt (room.getHeight()))));
}

juce::BorderSize<int> frameAround (const juce::Component& window)
{
    const auto scale = juce::Desktop::getInstance().getGlobalScaleFactor();
    const auto logical = [scale] (int pixels)
    { return static_cast<int> (std::ceil (static_cast<float> (pixels) / scale)); };

    if (const auto* peer = window.getPeer())
        if (const auto frame = peer->getFrameSizeIfPresent())
            return { logical (frame->getTop()),
                     logical (frame->getLeft()),
                     logical (frame->getBottom()),
                     logical (frame->getRight()) };

    return {};
}

void fitToScreen (juce::Component& window, int leastWidth, int leastHeight)
{
    const auto* display = juce::Desktop::getInstance().getDisplays().getDisplayForRect (window.getBounds());

    if (display == nullptr)
        return;

    // Where a logical pixel is no whole number of the screen's, the last ones may lie beyond its edge.
    const auto scale = juce::Desktop::getInstance().getGlobalScaleFactor();
    const auto isWhole = juce::approximatelyEqual (scale, std::round (scale));
    const auto area =
        isWhole ? display->userArea : display->userArea.withTrimmedRight (1).withTrimmedBottom (1);
    const auto room = frameAround (window).subtractedFrom (area);
    const auto width = std::max (leastWidth, std::min (window.getWidth(), room.getWidth()));
    const auto height = std::max (leastHeight, std::min (window.getHeight(), room.getHeight()));
    const auto placed = [] (int start, int size, juce::Range<int> within)
    { return std::max (within.getStart(), std::min (start, within.getEnd() - size)); };

    window.setBounds (placed (window.getX(), width, { room.getX(), room.getRight() }),
                      placed (window.getY(), height, { room.getY(), room.getBottom() }),
                      width,
                      height);
}

} // namespace tessivar
