#pragma once

#include "app/TrackActions.h"
#include "terms/DrumType.h"

namespace tessivar
{

/** Knobs that go from track to track: by the clipboard, as a line of text, and as presets of drum types. What
    is taken from outside is checked; anything else is left alone. Message thread.
*/
class KnobExchange
{
public:
    explicit KnobExchange (TrackActions& tracksToUse) : tracks (tracksToUse) {}

    void copyToClipboard (const Track& from) const;

    /** To all chosen tracks; nothing happens when the clipboard holds something else. */
    void paste() const;

    [[nodiscard]] bool hasPreset (DrumType type) const;
    void savePreset (const Track& from) const;

    /** To all chosen tracks of the type. */
    void applyPreset (DrumType type) const;
    void forgetPreset (DrumType type) const;
    [[nodiscard]] bool isForNewTracks (DrumType type) const;
    void setForNewTracks (DrumType type, bool shouldBe) const;

private:
    TrackActions& tracks;
};

} // namespace tessivar
