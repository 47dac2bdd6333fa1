#include "terms/Mathematics.h"

#include <array>
#include <bit>
#include <cassert>
#include <cstdint>
#include <limits>

namespace tessivar::math
{

namespace
{
constexpr auto infinity = std::numeric_limits<double>::infinity();

/** The sum of both, of about 106 bits: low is what rounding to high left over. */
struct Pair
{
    double high = 0.0, low = 0.0;
};

/** |a| is no less than |b|, or a is 0. (Dekker 1971) */
constexpr Pair sumOfOrdered (double a, double b)
{
    const auto sum = a + b;
    return { sum, b - (sum - a) };
}

/** The 26 upper bits of x. (Veltkamp 1968) */
constexpr double upperHalf (double x)
{
    const auto large = x * 0x1.0000002p+27;
    return large - (large - x);
}

/** (Dekker 1971) */
constexpr Pair productOf (double a, double b)
{
    const auto aHigh = upperHalf (a), bHigh = upperHalf (b);
    const auto aLow = a - aHigh, bLow = b - bHigh;
    const auto product = a * b;
    return { product, ((aHigh * bHigh - product) + aHigh * bLow + aLow * bHigh) + aLow * bLow };
}

constexpr Pair productOf (Pair a, Pair b)
{
    const auto product = productOf (a.high, b.high);
    return sumOfOrdered (product.high, product.low + (a.high * b.low + a.low * b.high));
}

constexpr Pair quotientOf (Pair a, double b)
{
    const auto quotient = a.high / b;
    const auto product = productOf (quotient, b);
    return sumOfOrdered (quotient, ((a.high - product.high) - product.low + a.low) / b);
}

/** Of equal signs; |a| is no less than |b|. */
constexpr Pair sumOf (Pair a, Pair b)
{
    const auto sum = sumOfOrdered (a.high, b.high);
    return sumOfOrdered (sum.high, sum.low + (a.low + b.low));
}

/** x as a multiple of a power of two and what is left. magic: 1.5 * 2^52 times that power. */
constexpr Pair onGrid (Pair x, double magic)
{
    const auto high = (x.high + magic) - magic;
    return { high, (x.high - high) + x.low };
}

constexpr Pair ln2{ 0x1.62e42fefa39efp-1, 0x1.abc9e3b39803fp-56 };
constexpr Pair eighthOfTurn{ 0x1.921fb54442d18p-1, 0x1.1a62633145c07p-55 };

constexpr std::int64_t numSteps = 128; // of both tables, in one octave or in one

/** 2^(i / numSteps) */
constexpr auto powersOfTwo = []
{
    const auto x = quotientOf (ln2, numSteps);
    Pair root{ 1.0, 0.0 }, term = root;

    for (auto k = 1; k <= 12; ++k)
    {
        term = quotientOf (productOf (term, x), k);
        root = sumOf (root, term);
    }

    std::array<Pair, numSteps> table{ { { 1.0, 0.0 } } };

    for (std::size_t i = 1; i < table.size(); ++i)
        table[i] = productOf (table[i - 1], root);

    return table;
}();

// Exact multiples of these with any whole number that occurs, and sums of the two last.
constexpr auto stepOfPowers = onGrid (quotientOf (ln2, numSteps), 0x1.8p+10);
constexpr auto ln2OnGrid = onGrid (ln2, 0x1.8p+10);

/** The bits of the least number of the octave around 1 that logarithms are reduced to, 0.709 to 1.418. */
constexpr std::uint64_t octaveBits = 0x3fe6b00000000000u;
constexpr auto stepBits = 52 - 7;

/** The middle c of a step of that octave, by which the upper bits of a double count; 1 is such a middle. */
struct LogarithmStart
{
    double middle;
    Pair logarithm, inverse; // of c; their upper parts on grids of 2^-42 and 2^-30
};

/** By the series of the inverse hyperbolic tangent. */
constexpr auto logarithmStarts = []
{
    std::array<LogarithmStart, numSteps> table;

    for (std::uint64_t i = 0; i < table.size(); ++i)
    {
        const auto c =
            std::bit_cast<double> (octaveBits + (2 * i + 1) * (std::uint64_t{ 1 } << (stepBits - 1)));
        const auto z = quotientOf ({ c - 1.0, 0.0 }, c + 1.0);
        const auto square = productOf (z, z);
        Pair sum;

        for (auto k = 43; k > 0; k -= 2)
            sum = sumOf (quotientOf ({ 2.0, 0.0 }, k), productOf (sum, square));

        table[i] = { c,
                     onGrid (productOf (sum, z), 0x1.8p+10),
                     onGrid (quotientOf ({ 1.0, 0.0 }, c), 0x1.8p+22) };
    }

    return table;
}();

/** 2^exponent, of a normal number. */
double powerOfTwo (std::int64_t exponent)
{
    return std::bit_cast<double> (static_cast<std::uint64_t> (exponent + 1023) << 52);
}

/** e^(x + low) for a low that is small against 1 */
double exponential (double x, double low)
{
    if (! (x > -746.0))
        return x < 0.0 ? 0.0 : x;

    if (x > 710.0)
        return infinity;

    constexpr auto magic = 0x1.8p+52;
    const auto steps = (x * (numSteps / ln2.high) + magic) - magic;
    const auto r = ((x - steps * stepOfPowers.high) - steps * stepOfPowers.low) + low;
    const auto whole = static_cast<std::int64_t> (steps);
    const auto& start = powersOfTwo[static_cast<std::size_t> (whole & (numSteps - 1))];

    // |r| < ln (2) / 256
    const auto beyondOne = r + r * r * (0.5 + r * (1.0 / 6.0 + r * (1.0 / 24.0 + r * (1.0 / 120.0))));
    const auto result = start.high + (start.low + start.high * beyondOne);

    // In two steps, for the ends of the range.
    const auto exponent = whole >> 7, half = exponent / 2;
    return result * powerOfTwo (half) * powerOfTwo (exponent - half);
}

/** ln (x) + exponent * ln (2) of a normal positive x with these bits: high + low, of which low may be a few
    thousandths of high. */
[[gnu::always_inline]] inline Pair logarithm (std::uint64_t bits, double exponent)
{
    // x = 2^octave * m
    const auto fromOctave = bits - octaveBits;
    const auto octave = static_cast<std::int64_t> (fromOctave) >> 52;
    const auto m = std::bit_cast<double> (bits - (static_cast<std::uint64_t> (octave) << 52));
    const auto& start = logarithmStarts[fromOctave >> stepBits & (numSteps - 1)];

    // The series of ln (1 + r), where 1 + r = m / c and |r| < 1 / 180; the upper part of r is exact.
    const auto difference = m - start.middle;
    const auto distance = onGrid ({ difference, 0.0 }, 0x1.8p+22);
    const auto upper = distance.high * start.inverse.high;
    const auto lower = distance.low * start.inverse.high + difference * start.inverse.low;
    const auto r = upper + lower, square = r * r;
    const auto series = square
                        * ((-1.0 / 2 + r * (1.0 / 3))
                           + square * ((-1.0 / 4 + r * (1.0 / 5)) + square * (-1.0 / 6 + r * (1.0 / 7))));

    const auto octaves = static_cast<double> (octave) + exponent;
    const auto sum = sumOfOrdered (octaves * ln2OnGrid.high + start.logarithm.high, upper);
    return { sum.high, (sum.low + (octaves * ln2OnGrid.low + start.logarithm.low)) + (lower + series) };
}

Pair logarithmOfOther (double x)
{
    if (x > 0.0 && x < infinity)
        return logarithm (std::bit_cast<std::uint64_t> (x * 0x1p+54), -54.0);

    return { x == 0.0 ? -infinity : x == infinity ? x : std::numeric_limits<double>::quiet_NaN(), 0.0 };
}

/** Of any x. */
[[gnu::always_inline]] inline Pair logarithm (double x)
{
    constexpr std::uint64_t leastNormal = std::uint64_t{ 1 } << 52, infinite = 0x7ff0000000000000u;
    const auto bits = std::bit_cast<std::uint64_t> (x);
    return bits - leastNormal < infinite - leastNormal ? logarithm (bits, 0.0) : logarithmOfOther (x);
}

/** log (x) to a base. unit: the inverse of the base's natural logarithm, as a double of at most 26 bits and
    the rest. */
double logarithm (double x, Pair unit)
{
    const auto natural = logarithm (x);

    if (! (natural.high - natural.high == 0.0))
        return natural.high;

    const auto high = upperHalf (natural.high);
    const auto low = (natural.high - high) + natural.low;
    return high * unit.high + (low * unit.high + (high + low) * unit.low);
}

/** 1 / 0! to 1 / 18! with the signs of the series of cosine and sine: two of them and two against them. */
constexpr auto coefficients = []
{
    std::array<double, 19> table;
    auto factorial = 1.0;

    for (std::size_t k = 0; k < table.size(); ++k)
    {
        factorial *= k > 0 ? static_cast<double> (k) : 1.0;
        table[k] = (k / 2 % 2 == 0 ? 1.0 : -1.0) / factorial;
    }

    return table;
}();

/** Sum of every second term from that of x^first on, divided by x^first. */
double series (double square, std::size_t first)
{
    auto sum = 0.0;

    for (auto k = first + 14; k >= first; k -= 2)
        sum = coefficients[k] + square * sum;

    return sum;
}

/** Of an angle of at most an eighth of a turn. */
double sinOf (Pair angle)
{
    const auto square = angle.high * angle.high;
    return angle.high + (angle.low + angle.high * square * series (square, 3));
}

double cosOf (Pair angle)
{
    const auto square = angle.high * angle.high, half = 0.5 * square, high = 1.0 - half;
    return high + (((1.0 - high) - half) + (square * square * series (square, 4) - angle.high * angle.low));
}

/** cos of a turn's part, later by a number of eighths that is even. */
double cosOfTurn (std::size_t part, std::size_t whole, std::size_t laterEighths)
{
    assert (whole > 0);
    const auto eighth = (8 * part / whole + laterEighths) % 8, rest = 8 * part % whole;
    const auto fromAxis = eighth % 2 == 0 ? rest : whole - rest;
    const auto angle = quotientOf (productOf (eighthOfTurn, { static_cast<double> (fromAxis), 0.0 }),
                                   static_cast<double> (whole));
    const auto result = (eighth + 1) / 2 % 2 == 0 ? cosOf (angle) : sinOf (angle);
    return eighth >= 2 && eighth < 6 ? 0.0 - result : result;
}
} // namespace

double exp (double x)
{
    return exponential (x, 0.0);
}

double log (double x)
{
    const auto natural = logarithm (x);
    return natural.high + natural.low;
}

double log2 (double x)
{
    return logarithm (x, { 0x1.7154768p+0, -0x1.6a3e80f444178p-27 });
}

double log10 (double x)
{
    return logarithm (x, { 0x1.bcb7b18p-2, -0x1.6c8d78e6acaa4p-29 });
}

double power (double base, double exponent)
{
    assert (base > 0.0 && base < infinity);
    const auto natural = logarithm (base);
    const auto product = productOf (natural.high, exponent);
    return exponential (product.high, product.low + natural.low * exponent);
}

double sinOfTurn (std::size_t part, std::size_t whole)
{
    return cosOfTurn (part, whole, 6);
}

double cosOfTurn (std::size_t part, std::size_t whole)
{
    return cosOfTurn (part, whole, 0);
}

} // namespace tessivar::math
