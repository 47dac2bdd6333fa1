#include "ui/dialogs/BlindTest.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tessivar
{

void BlindTest::answer (KnobSetting said)
{
    past.push_back ({ drawn, said });
    draw();
}

int BlindTest::numRight() const
{
    return static_cast<int> (
        std::count_if (past.begin(), past.end(), [] (const Round& round) { return round.isRight(); }));
}

double BlindTest::chanceOf (int numRight, int numRounds)
{
    // The upper tail of a binomial distribution with p = 1/2; by logarithms, as its terms get too large.
    const auto n = static_cast<double> (numRounds);
    auto sum = 0.0;

    for (int k = std::max (0, numRight); k <= numRounds; ++k)
        sum += std::exp (std::lgamma (n + 1.0) - std::lgamma (k + 1.0) - std::lgamma (n - k + 1.0)
                         - n * std::numbers::ln2);

    return std::min (1.0, sum);
}

} // namespace tessivar
