#include "engine/refinement/TracksBySound.h"

#include "engine/DrumRecognition.h"

#include <algorithm>
#include <cstddef>

namespace tessivar
{

namespace
{
/** Below the limits of a sure recognition, what sounds most like a kick or a hi-hat in this Group. */
struct LikelyDrum
{
    DrumType type;
    double (*likeness) (const DrumSound&); // above 0 if it may be one
};

constexpr LikelyDrum likelyDrums[]{
    // Low, and soon still: toms go on.
    { DrumType::kick, [] (const DrumSound& sound) { return sound.lows >= 0.5 ? 0.1 - sound.left : 0.0; } },
    { DrumType::hiHat,
      [] (const DrumSound& sound) { return sound.lows + sound.mids <= 0.4 ? sound.highs - 0.3 : 0.0; } },
};

bool rings (const DrumSound& sound)
{
    constexpr std::size_t fewestHits = 3; // to know how it goes on takes fewer than to tell a drum
    return sound.numHits >= fewestHits && sound.lows + sound.mids >= 0.5 && sound.left >= 0.2;
}

/** The track that is most like the drum, if any may be one. */
std::optional<std::size_t> likeliest (const LikelyDrum& drum,
                                      std::span<const DrumSound> sounds,
                                      std::span<const std::optional<DrumType>> recognized)
{
    auto best = 0.0;
    std::optional<std::size_t> found;

    for (std::size_t i = 0; i < sounds.size(); ++i)
        if (sounds[i].numHits >= DrumSound::fewestHits && (! recognized[i] || rowOf (*recognized[i]).isTom))
            if (const auto like = drum.likeness (sounds[i]); like > best)
            {
                best = like;
                found = i;
            }

    return found;
}
} // namespace

std::optional<std::vector<TrackBySound>> hearTracks (std::span<const TypedTrack> tracks,
                                                     double sampleRate,
                                                     WorkerPool& pool,
                                                     const WorkControl& control)
{
    std::vector<HeardTrack> heard;

    for (const auto& track : tracks)
    {
        const auto isDrum = isRenderedType (track.type);
        heard.push_back ({ track.source, isDrum ? DrumType::other : track.type, isDrum });
    }

    const auto sounds = hearDrums (heard, sampleRate, pool, control);

    if (! sounds)
        return std::nullopt;

    const auto recognized = recognizeDrums (heard, *sounds);
    std::vector<TrackBySound> result;

    for (std::size_t i = 0; i < tracks.size(); ++i)
        result.push_back ({ recognized[i].value_or (tracks[i].type), rings ((*sounds)[i]) });

    const auto isMissing = [&] (DrumType type)
    { return std::ranges::count (result, type, &TrackBySound::type) == 0; };

    // A kick without damping sounds like a tom, and so does a snare without its wires.
    for (const auto type : { DrumType::kick, DrumType::snare })
        if (isMissing (type))
            for (std::size_t i = 0; i < tracks.size(); ++i)
                if (tracks[i].type == type && rowOf (result[i].type).isTom)
                    result[i].type = type;

    for (const auto& drum : likelyDrums)
        if (isMissing (drum.type))
            if (const auto found = likeliest (drum, *sounds, recognized))
                result[*found].type = drum.type;

    return result;
}

} // namespace tessivar
