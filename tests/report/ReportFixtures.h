#pragma once

#include "model/GroupState.h"
#include "terms/ChannelLayout.h"
#include "tests/support/MemorySamples.h"

#include <cmath>
#include <cstddef>
#include <memory>
#include <numbers>
#include <vector>

namespace tessivar::test
{

inline constexpr double reportRate = 48000.0;
inline constexpr std::size_t reportLength = 480000; // 10 s

/** A sine from one second to another, added to a signal. */
inline void addTone (std::vector<float>& signal, double frequency, double from, double to, float amplitude)
{
    for (auto i = static_cast<std::size_t> (from * reportRate);
         i < static_cast<std::size_t> (to * reportRate);
         ++i)
        signal[i] += amplitude
                     * static_cast<float> (std::sin (2.0 * std::numbers::pi * frequency
                                                     * static_cast<double> (i) / reportRate));
}

inline TrackState
trackOf (const juce::String& name, const std::vector<float>& source, DrumType type = DrumType::other)
{
    TrackState track;
    track.name = name;
    track.record.setDrumType (type);
    track.record.setLengthInSamples (static_cast<std::int64_t> (source.size()));
    track.sourceInfo.sampleRate = reportRate;
    track.sourceInfo.bitsPerSample = 24;
    track.source = std::make_shared<MemorySamples> (channelLayout::numUnrendered, source);
    return track;
}

/** A snare's track of which an analysis keeps this part at full Focus; everything else goes. */
inline TrackState
processedTrack (const juce::String& name, const std::vector<float>& source, const std::vector<float>& kept)
{
    auto track = trackOf (name, source, DrumType::snare);
    std::vector<float> frames (source.size() * channelLayout::numRendered);

    for (std::size_t i = 0; i < source.size(); ++i)
    {
        auto* const frame = &frames[i * channelLayout::numRendered];
        frame[0] = kept[i];
        frame[channelLayout::residual] = source[i] - kept[i];
        frame[channelLayout::source] = source[i];
    }

    track.rendered = std::make_shared<MemorySamples> (channelLayout::numRendered, frames);
    track.record.setKnobs (KnobSetting::a, { 5.0f, 0.0f });
    track.findings.suggestedFocus = 5.0;
    track.findings.confidence = 1.0;
    track.findings.numHits = 12;
    track.findings.focusMatchDb.fill (30.0);
    return track;
}

/** A snare of which a tone stays, and one before it goes. */
inline TrackState toneTrack (const juce::String& name)
{
    std::vector<float> kept (reportLength);
    addTone (kept, 1000.0, 5.0, 6.0, 0.5f);
    auto source = kept;
    addTone (source, 200.0, 1.0, 3.0, 0.25f);
    return processedTrack (name, source, kept);
}

inline GroupState groupOf (std::vector<TrackState> tracks)
{
    GroupState group;
    group.name = "Take";
    group.analysis = { .method = AnalysisMethod::refined,
                       .seed = 7,
                       .numTracks = static_cast<int> (tracks.size()) };
    group.tracks = std::move (tracks);
    return group;
}

} // namespace tessivar::test
