#include "app/EqualLoudness.h"

#include <algorithm>
#include <new>
#include <utility>

namespace tessivar
{

namespace
{
constexpr double lookAhead = 3.0; // s that are measured ahead of the playhead, at least
constexpr int longestEnd = 10000; // ms
constexpr float lowestPeak = 0.001f;
} // namespace

EqualLoudness::~EqualLoudness()
{
    stop();
    pool.removeAllJobs (true, longestEnd);
}

void EqualLoudness::stop()
{
    if (stopFlag != nullptr)
        *stopFlag = true;
}

void EqualLoudness::want (const std::vector<PlaybackTrack>& tracks,
                          double sampleRate,
                          const PlaybackChoice& choice,
                          std::int64_t position,
                          std::int64_t lengthInSamples)
{
    Wish wanted{ {}, { Listening::processed, choice.playsWholeGroup, choice.selectedTrack } };

    for (const auto& track : tracks)
    {
        const auto isSelected = track.id == choice.selectedTrack;

        if (! isSelected && ! wanted.choice.isHeard (track, tracks))
            continue;

        auto& kept = wanted.tracks.emplace_back (track);
        kept.mix.matching = {};

        if (isSelected)
            kept.mix.usesSettingB = false; // both are measured

        if (! choice.playsWholeGroup)
        {
            kept.mix.gain = 1.0f;
            kept.mix.solo = kept.mix.mute = false;
        }
    }

    auto range = LoudnessMatch::rangeAround (position,
                                             lengthInSamples,
                                             sampleRate,
                                             choice.playsWholeGroup ? LoudnessMatch::longestSecondsOfGroup
                                                                    : LoudnessMatch::longestSeconds);

    if (wanted != wish)
    {
        // What another row of the same kit shows makes no difference to how loud the kit is.
        if (choice.playsWholeGroup && wish.choice.playsWholeGroup && ! measured.empty()
            && sharesTracks (wanted, wish))
            range = measured.front();

        // Gains of other tracks say nothing about these; those of other knobs might let them clip.
        if (wanted.choice != wish.choice)
            known.reset();
        else if (known && match)
            known = known->within (1.0f / std::max (match->source.peak, lowestPeak));

        wish = std::move (wanted);
        match.reset();
        measured.clear();
        isMeasuring = false;
    }

    const auto isWanted = measured.empty() || (match && ! knows (position, sampleRate, lengthInSamples));

    if (! wish.tracks.empty() && ! isMeasuring && isWanted)
        measure (sampleRate, range);
}

bool EqualLoudness::sharesTracks (const Wish& left, const Wish& right)
{
    return std::ranges::any_of (left.tracks,
                                [&] (const PlaybackTrack& track)
                                {
                                    return std::ranges::any_of (right.tracks,
                                                                [&] (const PlaybackTrack& other)
                                                                { return other.id == track.id; });
                                });
}

bool EqualLoudness::knows (std::int64_t position, double sampleRate, std::int64_t length) const
{
    const auto ahead = std::min (length, position + static_cast<std::int64_t> (lookAhead * sampleRate));
    return std::ranges::any_of (
        measured, [&] (const LoopRange& range) { return range.start <= position && ahead <= range.end; });
}

void EqualLoudness::measure (double sampleRate, LoopRange range)
{
    stop();
    stopFlag = std::make_shared<std::atomic<bool>> (false);
    measured.push_back (range);
    isMeasuring = true;
    pool.addJob (
        [tracks = wish.tracks,
         choice = wish.choice,
         flag = stopFlag,
         self = juce::WeakReference<EqualLoudness> (this),
         sampleRate,
         range]
        {
            std::optional<LoudnessMatch> found;

            try
            {
                found = LoudnessMatch::measure (
                    tracks,
                    sampleRate,
                    choice,
                    range,
                    { .shouldStop = [flag] { return flag->load(); }, .setProgress = {} });
            }
            catch (const std::bad_alloc&)
            {
                juce::Logger::writeToLog ("Equal loudness: not enough memory");
            }

            juce::MessageManager::callAsync (
                [self, flag, found]
                {
                    // A newer measurement may have begun since.
                    if (! flag->load() && self != nullptr)
                        self->take (found);
                });
        });
}

void EqualLoudness::take (const std::optional<LoudnessMatch>& found)
{
    isMeasuring = false;

    if (! found) // can't be read: the player says so
        return;

    // What is compared keeps its gains while it plays, as long as no peak says otherwise.
    if (match)
        match->addPeaks (*found);
    else
        match = found;

    known = match->gains();

    if (onMatched)
        onMatched();
}

} // namespace tessivar
