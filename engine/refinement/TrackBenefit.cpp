#include "engine/refinement/TrackBenefit.h"

#include "terms/Mathematics.h"

#include <algorithm>
#include <array>

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

    const auto leakageDb = std::min (findings.leakageDb, 5.0);

    // Of what is subtracted, the part that the mask would take too.
    const auto share = evidence.subtractionAgreement * math::power (10.0, -evidence.subtractedDb / 20.0);
    const auto foreign = isSubtracted ? shortfall (0.85, share, 0.1) : 0.0;
    const auto small = isSubtracted ? shortfall (0.6, evidence.subtractionAgreement, 0.1) : 0.0;
    const auto unlikeOutput = shortfall (0.7, evidence.outputAgreement, 0.2);
    const auto muchLeakage = shortfall (8.0, -leakageDb, 4.0);
    const auto noBetter = shortfall (3.0, std::max (best - withoutAny, -12.0), 3.0);
    const auto fewHits = shortfall (4.0, static_cast<double> (findings.numHits.value_or (0)), 1.0);

    // The mask takes more than the model finds, and something else than the subtraction.
    const auto discord = isSubtracted ? shortfall (0.72, evidence.subtractionAgreement, 0.1)
                                            * shortfall (-leakageDb - 1.0, withoutAny, 2.0)
                                      : 0.0;

    const std::array doubts{
        Doubt{ foreign, 0.46 },
        Doubt{ small, 0.87 },
        Doubt{ unlikeOutput, 0.32 },
        Doubt{ foreign * unlikeOutput / 3.0, 0.43 },
        // Leakage, and nothing that it could come from.
        Doubt{ isSubtracted ? 0.0 : shortfall (20.0, -leakageDb, 5.0), 1.01 },
        Doubt{ muchLeakage, 0.41 },
        Doubt{ noBetter, 0.69 },
        Doubt{ fewHits, 0.40 },
        Doubt{ shortfall (6.0, withoutAny, 3.0), 0.46 },
        // Doubts that weigh more together: another drum taken for the own one; nothing to back the mask; a
        // drum that hardly shows how it sounds.
        Doubt{ small * muchLeakage, 0.60 },
        Doubt{ small * noBetter, 0.25 },
        Doubt{ foreign * noBetter, 0.60 },
        Doubt{ fewHits * discord, 1.50 }
    };

    auto logit = certain;

    for (const auto& doubt : doubts)
        logit -= doubt.weight * doubt.amount;

    return std::min (1.0, 1.0 / (1.0 + math::exp (-logit)) / beyondDoubt);
}

} // namespace tessivar
