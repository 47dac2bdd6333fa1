#pragma once

#include "cli/CommandLine.h"
#include "model/TrackRecord.h"
#include "playback/PlaybackTrack.h"

#include <juce_core/juce_core.h>

#include <optional>

namespace tessivar
{

/** What "play" and "render" are asked for: a stretch of a Group. */
struct PlayRequest
{
    juce::File groupFile;
    juce::StringArray tracks; // patterns; empty: all
    double from = 0.0;        // s
    std::optional<double> to; // s; nothing: to the end
    std::optional<KnobSetting> setting;
    Listening listening = Listening::processed;
    juce::String device; // of "play"; empty: the system's default
    juce::File outFile;  // of "render"
    bool overwrite = false;
    bool json = false; // of "play"
    bool quiet = false;
};

/** Reads the values of a command line. On failure the reason names the option, and request stays untouched.
*/
[[nodiscard]] juce::Result parsePlayRequest (const Invocation& invocation, PlayRequest& request);

/** A time as "83.5", "1:23.5" or "1:01:23.5"; nothing for any other text. */
[[nodiscard]] std::optional<double> parseTimeText (const juce::String& text);

} // namespace tessivar
