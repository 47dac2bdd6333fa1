#include "app/KnobExchange.h"

#include "model/KnobPresets.h"
#include "model/TrackKnobs.h"

#include <juce_gui_basics/juce_gui_basics.h>

#include <vector>

namespace tessivar
{

void KnobExchange::copyToClipboard (const Track& from) const
{
    juce::SystemClipboard::copyTextToClipboard (knobText (knobsOf (from)));
}

void KnobExchange::paste() const
{
    if (const auto knobs = parseKnobText (juce::SystemClipboard::getTextFromClipboard()))
        tracks.giveKnobs (tracks.chosen(), *knobs, "Paste Settings");
}

bool KnobExchange::hasPreset (DrumType type) const
{
    return KnobPresets (tracks.settings()).find (type).has_value();
}

void KnobExchange::savePreset (const Track& from) const
{
    KnobPresets (tracks.settings()).save (from.drumType(), knobsOf (from));
}

void KnobExchange::applyPreset (DrumType type) const
{
    const auto preset = KnobPresets (tracks.settings()).find (type);

    if (! preset || tracks.group() == nullptr)
        return;

    auto ids = tracks.chosen();
    std::erase_if (ids,
                   [&] (std::uint32_t id) { return tracks.group()->findTrack (id)->drumType() != type; });
    tracks.giveKnobs (ids, *preset, "Apply Preset");
}

void KnobExchange::forgetPreset (DrumType type) const
{
    KnobPresets (tracks.settings()).forget (type);
}

bool KnobExchange::isForNewTracks (DrumType type) const
{
    return KnobPresets (tracks.settings()).isForNewTracks (type);
}

void KnobExchange::setForNewTracks (DrumType type, bool shouldBe) const
{
    KnobPresets (tracks.settings()).setForNewTracks (type, shouldBe);
}

} // namespace tessivar
