#pragma once

#include "engine/AnalysisSettings.h"

#include <string>
#include <vector>

namespace tessivar
{

/** The contents of the data files, computed in extended precision and rounded once, so that every machine
    gets the same bytes. */
namespace dataFiles
{
/** w[n] = 0.5 sin (pi (n + 0.5) / N). With a hop of N/4 the chain analysis, synthesis and factor 2 has gain
    2 * sum w^2 = 1. */
[[nodiscard]] std::vector<float> sineBellWindow (int frameLength);

/** 80 triangles over bins 0 .. F-1, 80 x F column-major. Centres equally spaced in mel (2595 log10 (1 +
    f/700); O'Shaughnessy 1987) from bin 0 to bin F-1, not rounded to bins; each side at least one bin wide;
    each band's weights sum to 1. */
[[nodiscard]] std::vector<float> melFilterBank (const RateParameters& rate);

/** The fractional mel band of every bin, 79 mel (f) / mel (Nyquist); the last is just below 79. */
[[nodiscard]] std::vector<float> interpolationVector (const RateParameters& rate);

/** A synthetic tom: damped sinusoid whose pitch falls to pitchHz, a short burst of noise at the stick's
    attack, the last tenth faded to zero. */
[[nodiscard]] std::vector<float> tomTemplate (const RateParameters& rate, double pitchHz);
} // namespace dataFiles

/** Writes all data files below a folder, into resources01 to resources03. Returns the error, or an empty
    text. */
[[nodiscard]] std::string writeAllDataFiles (const std::string& resourceFolder);

} // namespace tessivar
