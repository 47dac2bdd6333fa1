#include "terms/Mathematics.h"

#include "engine/numerics/RandomStream.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <numbers>

namespace tessivar
{

namespace
{
constexpr auto infinity = std::numeric_limits<double>::infinity();

/** Largest error over many arguments, in units of the last place; folds all results into a checksum. */
struct Survey
{
    double worst = 0.0;
    std::uint64_t checksum = 0;

    void add (double result, long double expected)
    {
        checksum = (checksum ^ std::bit_cast<std::uint64_t> (result)) * 0x100000001b3u;
        const auto size = std::abs (static_cast<double> (expected));
        const auto unit = std::nextafter (size, infinity) - size;
        worst = std::max (worst, static_cast<double> (std::abs (result - expected) / unit));
    }

    void add (double (*function) (double),
              long double (*meaning) (long double),
              const std::function<double (double)>& at)
    {
        RandomStream random (1);

        for (int i = 0; i < 100000; ++i)
        {
            const auto x = at (static_cast<double> (random.next()) + 0x1p-30);
            add (function (x), meaning (static_cast<long double> (x)));
        }
    }
};
} // namespace

TEST_CASE ("Mathematics", "[engine][mathematics]")
{
    const auto wide = [] (double u) { return std::ldexp (u, static_cast<int> (2000.0 * u) - 1000); };
    const auto aroundOne = [] (double u) { return 0.6 + u; };

    // A checksum tells that another compiler or system rounds otherwise, or contracts into fused operations.
    SECTION ("exponentials are right to a unit in the last place, with the same bits everywhere")
    {
        Survey survey;
        survey.add (math::exp, std::exp, [] (double u) { return 1416.0 * u - 708.0; });
        survey.add (math::exp, std::exp, [] (double u) { return 2.0 * u - 1.0; });

        for (const auto base : { 10.0, 1001.0, 0.001, 7.25 })
            for (double exponent = -20.0; exponent < 20.0; exponent += 0.0137)
                survey.add (math::power (base, exponent),
                            std::pow (static_cast<long double> (base), static_cast<long double> (exponent)));

        CHECK (survey.worst < 0.6);
        CHECK (survey.checksum == 0x6c53c2ecc554e343u);

        CHECK (math::exp (0.0) == 1.0);
        CHECK (math::exp (710.0) == infinity);
        CHECK (math::exp (infinity) == infinity);
        CHECK (math::exp (-infinity) == 0.0);
        CHECK (math::exp (-800.0) == 0.0);
        CHECK (math::exp (-744.4400719213812) == std::numeric_limits<double>::denorm_min());
        CHECK (std::isnan (math::exp (std::nan (""))));
        CHECK (math::power (10.0, 22.0) == 1.0e22);
        CHECK (math::power (10.0, -3.0) == 1.0e-3);
        CHECK (math::power (0.001, 0.0) == 1.0);
        CHECK (math::power (1.0, 1.0e10) == 1.0);
    }

    SECTION ("logarithms are right to a unit in the last place, with the same bits everywhere")
    {
        Survey survey;

        for (const auto& at :
             { std::function<double (double)> (wide), std::function<double (double)> (aroundOne) })
        {
            survey.add (math::log, std::log, at);
            survey.add (math::log2, std::log2, at);
            survey.add (math::log10, std::log10, at);
        }

        CHECK (survey.worst < 0.6);
        CHECK (survey.checksum == 0x86d9cd0460ce0262u);

        CHECK (math::log (1.0) == 0.0);
        CHECK (math::log2 (0x1p-1074) == -1074.0);
        CHECK (math::log10 (1.0e15) == 15.0);
        CHECK (math::log10 (infinity) == infinity);

        for (const auto function : { math::log, math::log2, math::log10 })
        {
            CHECK (function (0.0) == -infinity);
            CHECK (std::isnan (function (-1.0)));
            CHECK (std::isnan (function (std::nan (""))));
        }
    }

    SECTION ("sine and cosine of a turn's part are right to a unit in the last place, and exact on the axes")
    {
        Survey survey;

        for (const std::size_t whole : { 3u, 1000u, 8192u, 12345u })
            for (std::size_t part = 0; part < 2 * whole; ++part)
            {
                // Half turns away from the nearest multiple of one, without an error.
                const auto halves = 2 * static_cast<int> (part % whole), size = static_cast<int> (whole);
                const auto turned = (2 * halves + size) / (2 * size);
                const auto sign = turned == 1 ? -1.0L : 1.0L;
                const auto distance = static_cast<long double> (halves - turned * size) / size;
                const auto angle = std::numbers::pi_v<long double> * distance;

                if (4 * part % whole != 0)
                    survey.add (math::sinOfTurn (part, whole), sign * std::sin (angle));

                if (std::abs (distance) < 0.4L)
                    survey.add (math::cosOfTurn (part, whole), sign * std::cos (angle));
            }

        CHECK (survey.worst < 1.0);
        CHECK (survey.checksum == 0xe391f682f904a920u);

        for (std::size_t quarter = 0; quarter < 8; ++quarter)
        {
            constexpr double sines[]{ 0.0, 1.0, 0.0, -1.0 };
            CHECK (math::sinOfTurn (quarter * 256, 1024) == sines[quarter % 4]);
            CHECK (math::cosOfTurn (quarter * 256, 1024) == sines[(quarter + 1) % 4]);
        }
    }
}

} // namespace tessivar
