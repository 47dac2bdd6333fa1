#pragma once

#include "model/GroupState.h"
#include "model/TrackKnobs.h"
#include "terms/DrumType.h"

#include <juce_core/juce_core.h>

#include <optional>
#include <vector>

namespace tessivar
{

/** How the user wants the knobs of a drum type to stand, kept in the settings: a key for each type, so that
    several running copies of the program don't take each other's presets away.
*/
class KnobPresets
{
public:
    explicit KnobPresets (juce::PropertySet& settingsToUse) : settings (settingsToUse) {}

    /** Nothing where the user has saved none, and where the settings hold something else. */
    [[nodiscard]] std::optional<TrackKnobs> find (DrumType type) const;
    void save (DrumType type, const TrackKnobs& knobs);

    /** Back to how the program's own knobs start. */
    void forget (DrumType type);

    /** Whether tracks that become ones of this type take its preset. */
    [[nodiscard]] bool isForNewTracks (DrumType type) const;
    void setForNewTracks (DrumType type, bool shouldBe);

    /** The preset that a new track of this type takes, if it takes one. */
    [[nodiscard]] std::optional<TrackKnobs> ofNewTrack (DrumType type) const;

    /** Gives new tracks the presets of their types; knobs that the user has touched stay. */
    void applyToNew (std::vector<TrackState>& tracks) const;

private:
    juce::PropertySet& settings;
};

} // namespace tessivar
