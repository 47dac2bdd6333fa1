#pragma once

#include "terms/DrumType.h"
#include "terms/SampleRates.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

namespace tessivar
{

/** Takes the line that loading a data file writes, and whether the file could be read. */
using DiagnosticLog = std::function<void (std::string_view line, bool isRead)>;

/** Constants of the method. */
namespace method
{
inline constexpr int numMelBands = 80;
inline constexpr int numIterations = 75;
inline constexpr float continuityWeight = 50.0f;
inline constexpr float floorValue = 1.0e-24f;
inline constexpr float similarityThreshold = 0.7f;
inline constexpr float similarityThresholdOverhead = 0.45f;
inline constexpr int templateCopies = 10;
inline constexpr std::uint64_t defaultSeed = 1;
} // namespace method

/** Sizes that follow from the sample rate. Only the five rates of the table are supported. */
struct RateParameters
{
    int sampleRate = 0;     // Hz
    int frameLength = 0;    // samples
    int hop = 0;            // samples, a quarter of the frame
    int templateLength = 0; // samples, about 0.186 s

    [[nodiscard]] constexpr int numBins() const { return frameLength / 2 + 1; }

    /** The row for exactly this rate, or nothing. */
    [[nodiscard]] static std::optional<RateParameters> forRate (double sampleRate);
};

inline constexpr std::array<RateParameters, 5> supportedRates{ { { 44100, 1024, 256, 8192 },
                                                                 { 48000, 1024, 256, 8916 },
                                                                 { 88200, 2048, 512, 16384 },
                                                                 { 96000, 2048, 512, 17833 },
                                                                 { 192000, 4096, 1024, 35666 } } };
static_assert (std::equal (supportedRates.begin(),
                           supportedRates.end(),
                           supportedSampleRates.begin(),
                           supportedSampleRates.end(),
                           [] (const auto& row, int rate) { return row.sampleRate == rate; }));

/** What the analysis needs to know about a track to lay out its work. */
struct TrackShape
{
    DrumType drumType = DrumType::other;
    bool excluded = false;
    double sampleRate = 0.0; // Hz
    std::int64_t lengthInSamples = 0;
};

/** Sizes of one analysis, all derived from its tracks. */
struct AnalysisShape
{
    RateParameters rate;
    std::int64_t lengthInSamples = 0; // longest track at the Group's rate, excluded ones too
    int numSegments = 0;              // loudest frames that the scores are taken from: 50, or 150 above 60 s
    bool padded = false;              // with tom templates ahead: there is a tom, and more than 90 s
    std::int64_t paddingSamples = 0;
    std::int64_t numFrames = 0;
    int numActive = 0;   // tracks not excluded: 80 rows of the stacked spectrogram each
    int numRendered = 0; // active close microphones

    [[nodiscard]] std::int64_t paddedLength() const { return paddingSamples + lengthInSamples; }
    [[nodiscard]] std::int64_t paddingFrames() const { return paddingSamples / rate.hop; }
    [[nodiscard]] std::size_t melRows() const
    {
        return static_cast<std::size_t> (numActive) * method::numMelBands;
    }

    /** The shape for these tracks (the Group's rate is the first track's), or nothing for an unsupported
        rate. */
    [[nodiscard]] static std::optional<AnalysisShape> forTracks (std::span<const TrackShape> tracks);

    /** Frames of a signal: length / hop + 1 + 2 * (frameLength / hop), integer divisions. */
    [[nodiscard]] static std::int64_t framesForLength (std::int64_t paddedLength, const RateParameters& rate);
};

} // namespace tessivar
