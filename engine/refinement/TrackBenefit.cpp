#include "engine/refinement/TrackBenefit.h"

#include "terms/Mathematics.h"

#include <algorithm>

namespace tessivar
{

namespace
{
constexpr double certain = 2.9;   // logit without a doubt
constexpr double hopeless = -7.0; // logit at least: next to nothing goes then, but it can be measured
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
    const auto withoutAny = findings.focusMatchDb[0];
    const auto leakageDb = std::min (findings.leakageDb, 5.0);

    // Of what is subtracted, the part that the mask would take too.
    const auto isSubtracted = evidence.subtractedDb > BenefitEvidence::nothingDb;
    const auto share = isSubtracted
                           ? evidence.subtractionAgreement * math::power (10.0, -evidence.subtractedDb / 20.0)
                           : 1.0;
    const auto foreign = shortfall (0.85, share, 0.1);
    const auto small = shortfall (0.6, evidence.subtractionAgreement, 0.1);
    const auto unlikeOutput = shortfall (0.7, evidence.outputAgreement, 0.2);
    const auto noBetter = shortfall (3.0, std::max (findings.bestOutputMatchDb() - withoutAny, -12.0), 3.0);
    const auto muchLeakage = shortfall (8.0, -leakageDb, 4.0);
    const auto fewHits = shortfall (4.0, static_cast<double> (findings.numHits.value_or (0)), 1.0);

    // The mask takes more than the model finds, and something else than the subtraction.
    const auto discord =
        shortfall (0.72, evidence.subtractionAgreement, 0.1) * shortfall (-leakageDb - 1.0, withoutAny, 2.0);

    // Drums that are hit together.
    const auto together = foreign * (noBetter + 0.1 * unlikeOutput);

    // A drum that hardly shows how it sounds. What goes wrongly is its own ring, which is less than twice as
    // loud as what leaks: half of it does no harm, and where it leaks the half is worth having.
    const auto hidden = std::min (1.5, fewHits * discord);

    // Another drum taken for the own one. From a dry track nothing is subtracted, and no output comes nearer.
    const auto mistaken = small * (muchLeakage + (isSubtracted ? 0.3 * noBetter : 0.0));

    const auto logit = certain - 1.5 * together - 2.0 * hidden - 2.5 * mistaken;
    return std::min (1.0, 1.0 / (1.0 + math::exp (-std::max (hopeless, logit))) / beyondDoubt);
}

} // namespace tessivar
