#pragma once

#include <cstddef>

/** The mathematical functions by which results are computed, in place of the C library's, whose last bits
    differ from system to system. Built of additions, multiplications and divisions alone: the same argument
    gives the same bits everywhere.

    Errors: less than one unit in the last place of a normal result; subnormal ones less than two.
*/
namespace tessivar::math
{

/** 0 far below, infinity far above. NaN stays. */
[[nodiscard]] double exp (double x);

/** Of 0 minus infinity, of anything below NaN. */
[[nodiscard]] double log (double x);
[[nodiscard]] double log2 (double x);
[[nodiscard]] double log10 (double x);

/** base to the power of exponent. base: above 0 and finite; the error grows to two units for results beyond
    1e100. Whole powers of ten are exact up to 1e22. */
[[nodiscard]] double power (double base, double exponent);

/** Of part / whole of a full turn, reduced without an error: multiples of a quarter turn are exact. whole:
    above 0; part and whole: below 2^50. */
[[nodiscard]] double sinOfTurn (std::size_t part, std::size_t whole);
[[nodiscard]] double cosOfTurn (std::size_t part, std::size_t whole);

} // namespace tessivar::math
