#include "engine/refinement/TrackBenefit.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tessivar
{

namespace
{
/** A doubt and how much one of it counts against the whole. */
struct Doubt
{
    double amount, weight;
};

constexpr double certain = 4.07; // logit without a doubt
constexpr double beyondDoubt = 0.95;

/** How far a value stays below a limit, in these steps. */
double shortfall (double limit, double value, double step)
{
    return std::max (0.0, limit - value) / step;
}
} // namespace

double confidenceOf (const TrackFindings& findings)
{
    const auto& evidence = findings.benefit;
    const auto& matches = findings.focusMatchDb;
    const auto withoutAny = matches[0], best = *std::max_element (matches.begin() + 1, matches.end());
    const auto isSubtracted = evidence.subtractedDb > BenefitEvidence::nothingDb;

    // Of what is subtracted, the part that the mask would take too.
    const auto share = evidence.subtractionAgreement * std::pow (10.0, -evidence.subtractedDb / 20.0);
    const auto foreign = isSubtracted ? shortfall (0.85, share, 0.1) : 0.0;
    const auto unlikeOutput = shortfall (0.7, evidence.outputAgreement, 0.2);

    const std::array doubts{
        Doubt{ foreign, 0.46 },
        Doubt{ isSubtracted ? shortfall (0.6, evidence.subtractionAgreement, 0.1) : 0.0, 0.87 },
        Doubt{ unlikeOutput, 0.32 },
        Doubt{ foreign * unlikeOutput / 3.0, 0.43 },
        // Leakage, and nothing that it could come from.
        Doubt{ isSubtracted ? 0.0 : shortfall (20.0, -std::min (findings.leakageDb, 5.0), 5.0), 1.01 },
        Doubt{ shortfall (8.0, -std::min (findings.leakageDb, 5.0), 4.0), 0.41 },
        Doubt{ shortfall (3.0, std::max (best - withoutAny, -12.0), 3.0), 0.69 },
        Doubt{ shortfall (4.0, static_cast<double> (findings.numHits.value_or (0)), 1.0), 0.40 },
        Doubt{ shortfall (6.0, withoutAny, 3.0), 0.46 }
    };

    auto logit = certain;

    for (const auto& doubt : doubts)
        logit -= doubt.weight * doubt.amount;

    return std::min (1.0, 1.0 / (1.0 + std::exp (-logit)) / beyondDoubt);
}

} // namespace tessivar
