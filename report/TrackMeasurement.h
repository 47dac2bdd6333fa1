#pragma once

#include "engine/SpectrumColumns.h"
#include "jobs/ExportTracks.h"
#include "model/GroupState.h"
#include "terms/Outcome.h"
#include "terms/ReductionCurve.h"
#include "terms/WorkControl.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace tessivar
{

/** What is heard of a track and what its source was, read block by block. Not for two threads at once. */
class TrackSignals
{
public:
    virtual ~TrackSignals() = default;

    /** Fills both with the samples from start on, which lie inside the track; fails with file and reason. */
    [[nodiscard]] virtual juce::Result
    read (std::int64_t start, std::span<float> source, std::span<float> processed) = 0;
};

/** Signals of a track: what is heard comes from the file that was written of it if there is one, else from
    its knobs. The track must outlive them. */
[[nodiscard]] std::unique_ptr<TrackSignals> signalsOf (const TrackState& track, const TrackExport* written);

/** The time axis that the tracks of a Group share in pictures: as long as the longest of them. */
struct PictureAxis
{
    static constexpr std::size_t mostColumns = 960;

    std::int64_t lengthInSamples = 0;
    double sampleRate = 0.0;
    std::size_t numColumns = 0;

    [[nodiscard]] static PictureAxis of (const GroupState& group);

    [[nodiscard]] double seconds() const
    {
        return sampleRate > 0.0 ? static_cast<double> (lengthInSamples) / sampleRate : 0.0;
    }

    [[nodiscard]] std::int64_t firstSampleOf (std::size_t column) const;
    [[nodiscard]] std::size_t columnAt (std::int64_t sample) const;
};

/** One signal as pictures show it, column by column. */
struct SignalPicture
{
    /** Linear amplitudes. */
    struct Extremes
    {
        float low = 0.0f, high = 0.0f;
    };

    /** Half decibels above SpectrumColumns::floorDb. */
    [[nodiscard]] static std::uint8_t stepOf (float levelDb);
    [[nodiscard]] static float levelOf (std::uint8_t step);

    std::vector<Extremes> extremes;
    std::vector<double> energies;     // sums of squares, of each column
    std::vector<std::uint8_t> levels; // SpectrumColumns::numBands each: the loudest moment of the column
    double energy = 0.0;              // sum of squares
    float peak = 0.0f;
};

/** Everything that a report tells about the audio of one track. */
struct TrackMeasurement
{
    Outcome outcome; // failed: the audio can't be read, and nothing below counts
    std::int64_t lengthInSamples = 0;
    SignalPicture source, processed, removed;
    std::vector<double> hits; // seconds, of what is heard
    ReductionCurve reduction; // in steps of ReductionCurve::usualStep
    std::int64_t clippedSamples = 0;

    [[nodiscard]] bool isSilent() const { return source.peak < 1.0e-4f; } // -80 dBFS

    /** Mean level over the track, 0 dB for full scale; SpectrumColumns::floorDb for silence. */
    [[nodiscard]] float meanDb (const SignalPicture& signal) const;

    /** Energy of a signal over the source's; 0 when that is silent. */
    [[nodiscard]] double shareOf (const SignalPicture& signal) const
    {
        return source.energy > 0.0 ? signal.energy / source.energy : 0.0;
    }
};

/** Reads a track from its start to its end, in blocks: about 3 MB of memory, and half a megabyte stays. Asks
    control for a stop at every block, of 3 s, and tells its progress in samples. spectra belongs to the
    calling thread. */
[[nodiscard]] TrackMeasurement measureTrack (const TrackState& track,
                                             const TrackExport* written,
                                             const PictureAxis& axis,
                                             SpectrumColumns& spectra,
                                             const WorkControl& control);

} // namespace tessivar
