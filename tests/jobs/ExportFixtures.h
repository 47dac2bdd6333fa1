#pragma once

#include "jobs/ExportTracks.h"
#include "jobs/ImportTracks.h"
#include "terms/ChannelLayout.h"
#include "terms/DrumType.h"
#include "tests/jobs/JobFixtures.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace tessivar::test
{

inline constexpr std::int64_t exportLength = 20000; // more than one block, no multiple of it

inline juce::AudioFormat& formatFor (const juce::File& file)
{
    static juce::WavAudioFormat wav;
    static juce::AiffAudioFormat aiff;
    return exportFileTypeFor (file.getFileExtension()) == ExportFileType::wav
               ? static_cast<juce::AudioFormat&> (wav)
               : static_cast<juce::AudioFormat&> (aiff);
}

/** A file of noise up to full scale, both ends of the scale included. */
inline void writeSource (const juce::File& file, int bits, int numChannels = 1)
{
    juce::AudioBuffer<float> audio (numChannels, static_cast<int> (exportLength));

    for (int c = 0; c < numChannels; ++c)
    {
        const auto samples = noise (exportLength, static_cast<std::uint32_t> (c + bits), 1.0f);
        audio.copyFrom (c, 0, samples.data(), static_cast<int> (exportLength));
        audio.setSample (c, 0, 1.0f);
        audio.setSample (c, 1, -1.0f);
    }

    REQUIRE (file.getParentDirectory().createDirectory().wasOk());
    file.deleteFile(); // a stream would append to it
    auto stream = file.createOutputStream();
    REQUIRE (stream != nullptr);
    std::unique_ptr<juce::AudioFormatWriter> writer (formatFor (file).createWriterFor (
        stream.release(), 48000.0, static_cast<unsigned int> (numChannels), bits, {}, 0));
    REQUIRE (writer->writeFromAudioSampleBuffer (audio, 0, audio.getNumSamples()));
}

/** The samples of the first channel as the reader's integers, floats as their bits. */
inline std::vector<int> rawSamples (const juce::File& file)
{
    std::unique_ptr<juce::AudioFormatReader> reader (
        formatFor (file).createReaderFor (file.createInputStream().release(), true));
    REQUIRE (reader != nullptr);
    std::vector<int> samples (static_cast<std::size_t> (reader->lengthInSamples));
    auto* channel = samples.data();
    REQUIRE (reader->read (&channel, 1, 0, static_cast<int> (samples.size()), false));
    return samples;
}

inline std::vector<TrackState> imported (const juce::File& file, TemporaryStore& store)
{
    ImportWarnings warnings;
    auto intake = importFile (file, 0.0, warnings, &store);
    INFO (intake.outcome.reason);
    REQUIRE (intake.accepted());
    std::vector<TrackState> tracks;

    for (auto& track : intake.tracks)
        tracks.push_back (std::move (track.state));

    return tracks;
}

/** Gives a track seven channels as an analysis would: five components of noise, the residual, the source. */
inline void process (TrackState& track, TemporaryStore& store, float componentLevel = 0.3f)
{
    const auto source = samplesOf (*track.source);
    std::vector<float> frames;

    for (std::size_t i = 0; i < source.size(); ++i)
    {
        auto residual = source[i];

        for (std::size_t c = 0; c < 5; ++c)
        {
            frames.push_back (componentLevel * std::sin (static_cast<float> ((c + 2) * i) * 0.1f));
            residual -= frames.back();
        }

        frames.push_back (residual);
        frames.push_back (source[i]);
    }

    track.record.setDrumType (DrumType::snare);
    track.rendered = storedTrack (store, frames, channelLayout::numRendered);
}

} // namespace tessivar::test
