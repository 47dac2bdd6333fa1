#pragma once

#include <juce_gui_basics/juce_gui_basics.h>

namespace tessivar
{

/** The audio device, at the right end of the menu bar: a dot and a line of text. A click asks for the
    settings.
*/
class DeviceStatusButton : public juce::Button
{
public:
    DeviceStatusButton();

    /** @param warns  shows amber: no device, or its rate differs from the Group's */
    void setStatus (const juce::String& words, bool warns);

    /** Width its text needs, in logical pixels. */
    int idealWidth() const;

    void paintButton (juce::Graphics& g, bool over, bool down) override;

private:
    bool warning = false;

    JUCE_DECLARE_NON_COPYABLE_WITH_LEAK_DETECTOR (DeviceStatusButton)
};

} // namespace tessivar
