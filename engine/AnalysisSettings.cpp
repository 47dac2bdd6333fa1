#include "engine/AnalysisSettings.h"

namespace tessivar
{

std::optional<RateParameters> RateParameters::forRate (double sampleRate)
{
    for (const auto& row : supportedRates)
        if (sampleRate == static_cast<double> (row.sampleRate))
            return row;

    return std::nullopt;
}

std::int64_t AnalysisShape::framesForLength (std::int64_t paddedLength, const RateParameters& rate)
{
    return paddedLength / rate.hop + 1 + 2 * (rate.frameLength / rate.hop);
}

std::optional<AnalysisShape> AnalysisShape::forTracks (std::span<const TrackShape> tracks)
{
    const auto first = std::find_if (
        tracks.begin(), tracks.end(), [] (const TrackShape& t) { return t.lengthInSamples > 0; });

    if (first == tracks.end())
        return std::nullopt;

    const auto rate = RateParameters::forRate (first->sampleRate);

    if (! rate)
        return std::nullopt;

    AnalysisShape shape;
    shape.rate = *rate;
    int numToms = 0;

    for (const auto& track : tracks)
    {
        if (track.sampleRate == first->sampleRate)
            shape.lengthInSamples = std::max (shape.lengthInSamples, track.lengthInSamples);

        if (track.excluded)
            continue;

        ++shape.numActive;
        shape.numRendered += isRenderedType (track.drumType) ? 1 : 0;
        numToms += rowOf (track.drumType).isTom ? 1 : 0;
    }

    const auto oneMinute = std::int64_t{ rate->sampleRate } * 60;
    shape.numSegments = shape.lengthInSamples > oneMinute ? 150 : 50;
    shape.padded = numToms > 0 && shape.lengthInSamples * 2 > oneMinute * 3;

    if (shape.padded)
        shape.paddingSamples = std::int64_t{ method::templateCopies } * numToms * rate->templateLength;

    shape.numFrames = framesForLength (shape.paddedLength(), *rate);
    return shape;
}

} // namespace tessivar
