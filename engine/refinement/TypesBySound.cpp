#include "engine/refinement/TypesBySound.h"

#include "engine/DrumRecognition.h"

#include <algorithm>
#include <cstdint>

namespace tessivar
{

namespace
{
constexpr double longestHeard = 120.0; // seconds

/** Part of a source, as long as it reaches. */
class Excerpt final : public SampleSource
{
public:
    Excerpt (SampleSource& whole, std::int64_t firstSample, std::int64_t numSamples)
        : source (whole), first (firstSample),
          length (std::clamp<std::int64_t> (whole.lengthInSamples() - firstSample, 0, numSamples))
    {
    }

    [[nodiscard]] std::int64_t lengthInSamples() const override { return length; }

    [[nodiscard]] bool read (std::int64_t start, std::span<float> dest) override
    {
        return source.read (first + start, dest);
    }

private:
    SampleSource& source;
    const std::int64_t first, length;
};

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
constexpr std::size_t fewestHits = 4;
} // namespace

std::optional<std::vector<DrumType>>
typesBySound (std::span<const TypedTrack> tracks, double sampleRate, const WorkControl& control)
{
    std::int64_t groupLength = 0;

    for (const auto& track : tracks)
        groupLength = std::max (groupLength, track.source->lengthInSamples());

    const auto length = std::min (groupLength, static_cast<std::int64_t> (longestHeard * sampleRate));
    const auto first = (groupLength - length) / 2;
    std::vector<Excerpt> excerpts;
    std::vector<HeardTrack> heard;
    excerpts.reserve (tracks.size());

    for (const auto& track : tracks)
    {
        const auto isDrum = isRenderedType (track.type);
        excerpts.emplace_back (*track.source, first, length);
        heard.push_back ({ &excerpts.back(), isDrum ? DrumType::other : track.type, isDrum });
    }

    const auto sounds = hearDrums (heard, sampleRate, control);

    if (! sounds)
        return std::nullopt;

    const auto drums = recognizeDrums (heard, *sounds);
    std::vector<DrumType> types;

    for (std::size_t i = 0; i < tracks.size(); ++i)
        types.push_back (drums[i].value_or (tracks[i].type));

    const auto isMissing = [&] (DrumType type) { return std::ranges::count (types, type) == 0; };

    // A kick without damping sounds like a tom, and so does a snare without its wires.
    for (const auto type : { DrumType::kick, DrumType::snare })
        if (isMissing (type))
            for (std::size_t i = 0; i < tracks.size(); ++i)
                if (tracks[i].type == type && rowOf (types[i]).isTom)
                    types[i] = type;

    for (const auto& [type, likeness] : likelyDrums)
    {
        if (! isMissing (type))
            continue;

        auto best = 0.0;
        std::optional<std::size_t> found;

        for (std::size_t i = 0; i < tracks.size(); ++i)
            if (const auto like = likeness ((*sounds)[i]);
                (*sounds)[i].numHits >= fewestHits && like > best && (! drums[i] || rowOf (*drums[i]).isTom))
            {
                best = like;
                found = i;
            }

        if (found)
            types[*found] = type;
    }

    return types;
}

} // namespace tessivar
