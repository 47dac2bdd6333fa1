#pragma once

#include "terms/TrackFindings.h"

namespace tessivar
{

inline constexpr double nothingSubtractedDb = -100.0;

/** How far independent estimates of a track's leakage agree with what its mask would take from it. */
struct BenefitEvidence
{
    /** Correlation (-1..1) of what the subtraction takes with what the mask would take: leakage is a filtered
        copy of other drums, drums that are hit together are not. 0 where nothing is subtracted. */
    double subtractionAgreement = 0.0;

    /** The same of what the best output of the standard method leaves out. */
    double outputAgreement = 0.0;

    double subtractedDb = nothingSubtractedDb; // what the subtraction takes, against what the mask would take
};

/** How likely it is that the layers of a track come closer to its own drum than the track itself, 0..1, from
    the findings of match, leakage and hits: a logistic model of ten doubts, whose coefficients were fitted on
    recordings with known truth so that the mean gain is greatest, and a loss counts nine times, when the
    layers take place as far as they are believed. */
[[nodiscard]] double confidenceOf (const TrackFindings& findings, const BenefitEvidence& evidence);

} // namespace tessivar
