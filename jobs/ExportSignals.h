#pragma once

#include "model/GroupState.h"
#include "model/TrackSamples.h"
#include "terms/Mathematics.h"

#include <juce_core/juce_core.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>

namespace tessivar
{

/** Energies of a signal. */
struct ExportLevels
{
    double source = 0.0;
    double output = 0.0;
    double removed = 0.0; // of source minus output

    ExportLevels& operator+= (const ExportLevels& other)
    {
        source += other.source;
        output += other.output;
        removed += other.removed;
        return *this;
    }

    /** Level of an energy over the source's, in dB; 0 for a silent source. */
    [[nodiscard]] double overSource (double energy) const
    {
        constexpr double lowest = -200.0;
        return source > 0.0 ? std::max (lowest, 10.0 * math::log10 (std::max (energy / source, 1.0e-20)))
                            : 0.0;
    }
};

/** A signal to write, read block by block; measures what was removed from it. */
class ExportSignal
{
public:
    virtual ~ExportSignal() = default;

    /** Fills dest with the output from start on. */
    [[nodiscard]] virtual juce::Result read (std::int64_t start, std::span<float> dest) = 0;

    ExportLevels levels; // of what was read so far
};

/** What a track sounds at its knobs; its source as it is when it has no processed output. The track must
    outlive this.
*/
[[nodiscard]] std::unique_ptr<ExportSignal> signalOf (const TrackState& track);

/** One channel as it is, from firstSample on. The track, which messages name, must outlive this. */
[[nodiscard]] std::unique_ptr<ExportSignal>
plainSignal (const TrackState& track, std::shared_ptr<TrackSamples> channel, std::int64_t firstSample);

} // namespace tessivar
