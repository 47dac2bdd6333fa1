#pragma once

#include "terms/ChannelLayout.h"
#include "terms/KnobValues.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <array>
#include <optional>

namespace tessivar
{

juce::String letterOf (KnobSetting setting);

/** What is heard of a track. */
enum class ListenMode
{
    processed,
    bypass, // the source
    removed // the source minus the processed track
};

/** Tells a click, which latches, from a hold, which lasts only as long as the button is down. Each mode
    releases the other.
*/
class ListenLatch
{
public:
    static constexpr double holdMilliseconds = 300.0;

    /** @param now  any clock, in milliseconds */
    void press (ListenMode mode, double now);
    void release (ListenMode mode, double now);

    /** A click from the keyboard: latches, or releases what is latched. */
    void toggle (ListenMode mode);

    /** Takes over what the owner decided; ends a hold. */
    void set (ListenMode mode);

    ListenMode current() const { return listening; }

private:
    ListenMode listening = ListenMode::processed;
    ListenMode before = ListenMode::processed;
    std::optional<ListenMode> pressed;
    double pressedAt = 0.0;
};

/** Weight of a layer in what is heard, linear, 0 to 1: what the knob keeps of it, and what Fine blends back.
*/
struct LayerWeight
{
    float kept = 0.0f;
    float blendedBack = 0.0f;
};

/** Height of a bar, 0 to 1, for a linear weight: 0 at -60 dB, 1 at 0 dB. */
float layerBarHeight (float weight);

/** Everything the dock shows. */
struct DockState
{
    bool available = false; // false: the knobs are inactive, and `unavailableText` says why
    juce::String unavailableText{ "Available after analysis." };
    KnobSetting sounding = KnobSetting::a;
    std::array<KnobValues, 2> settings{};
    KnobValues defaults;                                       // that Shift and a click brings back
    std::optional<float> suggestedFocus;                       // 0 to focusMaximum
    std::array<LayerWeight, channelLayout::numParts> layers{}; // the five best components, then the rest
    ListenMode listening = ListenMode::processed;
    bool equalLoudness = false;
    std::optional<float> matchingGainDb; // that equal loudness adds to what is heard; none: not known yet

    const KnobValues& valuesOf (KnobSetting setting) const
    {
        return settings[static_cast<std::size_t> (setting)];
    }
};

/** "A, Focus 62 percent, Fine 18 percent", for screen readers. */
juce::String settingDescription (const DockState& state);

/** The line below Bypass and Removed that says what is heard, or why nothing can be chosen. */
juce::String listeningText (const DockState& state);

/** "+4.1 dB" with a true minus sign for less; 0.0 dB has none. */
juce::String gainText (float gainDb);

/** Bounds of the dock's five sections. Focus and Fine share spare width 1 to 0.55; a compact dock has no
    Layers.
*/
struct DockLayout
{
    juce::Rectangle<int> setting, focus, fine, layers, listen;
};
DockLayout dockLayout (juce::Rectangle<int> area, bool compact);

constexpr int dockHeight (bool compact)
{
    return compact ? 166 : 202;
}

} // namespace tessivar
