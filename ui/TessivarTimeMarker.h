#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** The strip that marks the play position; whoever shows the waveform moves it. The mouse goes through to the
    waveform.
*/
class TessivarTimeMarker : public juce::Component
{
public:
    TessivarTimeMarker() { setInterceptsMouseClicks (false, false); }

    void paint (juce::Graphics& g) override { g.fillAll (juce::Colours::white.withAlpha (0.9f)); }

private:
    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (TessivarTimeMarker)
};

} // namespace tessivar
