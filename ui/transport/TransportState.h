#pragma once

#include <juce_core/juce_core.h>

#include <optional>

namespace tessivar
{

/** Everything the transport bar shows. Times in seconds, levels in dB of full scale. */
struct TransportState
{
    bool hasTrack = false; // false: nothing to play, the time is grey
    bool playable = true;  // false: no audio device
    bool playing = false;
    bool looping = false;
    bool following = false;
    bool wholeGroup = false; // all tracks are heard, not the selected one alone
    double position = 0.0;
    double duration = 0.0;
    std::optional<juce::Range<double>> loop; // the selection, which is what loops while looping
    float volumeDb = 0.0f;
};

/** The volume slider's curve: gain = 2 p^3 for position p, 0 to 1. Silence at the left end, +6 dB at the
    right, and most of the travel where the ear needs it.
*/
float volumeDbForPosition (double position);
double positionForVolumeDb (float volumeDb);

/** Volumes below this are silence. */
inline constexpr float volumeOffDb = -80.0f;

/** "-4.2 dB" with a true minus sign, "+1.0 dB", or "Off". */
juce::String volumeText (float volumeDb);

/** A typed time in seconds: "0:48.375", "1:02:03", "48,375"; nothing for invalid text. */
std::optional<double> parseTime (const juce::String& text);

/** Level of one output channel: the bar, and a peak that holds for two seconds and then falls with the bar.
*/
struct OutputLevel
{
    static constexpr float floorDb = -60.0f;
    static constexpr double holdSeconds = 2.0;

    float levelDb = floorDb;
    float peakDb = floorDb;
    double peakAge = 0.0; // seconds since the peak

    /** @param newLevelDb  since the last call  @param elapsed  seconds since the last call */
    void update (float newLevelDb, double elapsed);

    /** Fraction of the bar, 0 to 1, for a level in dB. */
    static float fractionFor (float levelDb);
};

/** A line shown for four seconds. */
struct NoticeState
{
    static constexpr double secondsShown = 4.0;

    juce::String text, action;
    bool warns = false;
    double secondsLeft = 0.0;

    bool isVisible() const { return secondsLeft > 0.0; }
    /** Returns true when the notice has just expired. */
    bool tick (double elapsed);
};

} // namespace tessivar
