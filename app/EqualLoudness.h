#pragma once

#include "playback/LoudnessMatch.h"

#include <juce_events/juce_events.h>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace tessivar
{

/** Measures in the background how loud what can be heard is, and gives the gains that make it equally loud.
    A newer wish stops the measurement before it. Message thread.
*/
class EqualLoudness
{
public:
    EqualLoudness() = default;
    ~EqualLoudness();

    /** A measurement has been made. */
    std::function<void()> onMatched;

    /** What is heard, and where. Measures what is not known yet: other sound, and the peaks of another
        stretch of it.
    */
    void want (const std::vector<PlaybackTrack>& tracks,
               double sampleRate,
               const PlaybackChoice& choice,
               std::int64_t position,
               std::int64_t lengthInSamples);

    /** Those of the last measurement of the same tracks, whose knobs may have moved since. */
    [[nodiscard]] MatchingGains gains() const { return known.value_or (MatchingGains{}); }
    [[nodiscard]] bool hasGains() const { return known.has_value(); }

    /** Whether the gains are those of what is heard now. */
    [[nodiscard]] bool isReady() const { return match.has_value(); }

private:
    /** What decides over the loudness. */
    struct Wish
    {
        std::vector<PlaybackTrack> tracks;
        PlaybackChoice choice;

        bool operator== (const Wish&) const = default;
    };

    [[nodiscard]] static bool sharesTracks (const Wish& left, const Wish& right);
    [[nodiscard]] bool knows (std::int64_t position, double sampleRate, std::int64_t length) const;
    void measure (double sampleRate, LoopRange range);
    void take (const std::optional<LoudnessMatch>& found);
    void stop();

    Wish wish;
    std::optional<LoudnessMatch> match; // of the wish
    std::vector<LoopRange> measured;    // of the wish, the last one perhaps still in work
    bool isMeasuring = false;
    std::optional<MatchingGains> known;
    std::shared_ptr<std::atomic<bool>> stopFlag; // of the last measurement
    juce::ThreadPool pool{ 1 };

    JUCE_DECLARE_WEAK_REFERENCEABLE (EqualLoudness)
    JUCE_DECLARE_NON_COPYABLE (EqualLoudness)
};

} // namespace tessivar
