#pragma once

#include "app/MainComponent.h"

namespace tessivar
{

/** The edge between browser and track: drags the browser wider or narrower. */
class MainComponent::Splitter : public juce::Component
{
public:
    Splitter() { setMouseCursor (juce::MouseCursor::LeftRightResizeCursor); }

    /** The browser's new right edge, in the parent's coordinates. */
    std::function<void (int)> onDrag;

    void mouseDrag (const juce::MouseEvent& event) override
    {
        if (onDrag)
            onDrag (event.getEventRelativeTo (getParentComponent()).x);
    }
};

} // namespace tessivar
