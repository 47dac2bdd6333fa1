#pragma once

#include "engine/numerics/simd/SignalKernels.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace tessivar
{

/** The quantile (0..1) of values with linear interpolation between neighbours; uses them up. 0 for no
    values. */
inline float quantile (std::span<float> values, double fraction)
{
    if (values.empty())
        return 0.0f;

    const auto position = fraction * static_cast<double> (values.size() - 1);
    const auto index = static_cast<std::size_t> (position);
    const auto [lower, upper] = kernels::rankedValues (values.data(), values.size(), index);
    return lower == upper
               ? lower
               : lower + static_cast<float> (position - static_cast<double> (index)) * (upper - lower);
}

/** Moves the indices of the count largest values (at least 1) to the front, in any order; of equal values the
    lower indices. */
template <typename ValueOf>
void moveLargestToFront (std::span<std::uint32_t> indices, std::size_t count, const ValueOf& valueOf)
{
    std::nth_element (indices.begin(),
                      indices.begin() + static_cast<std::ptrdiff_t> (count - 1),
                      indices.end(),
                      [&] (std::uint32_t a, std::uint32_t b)
                      {
                          const auto x = valueOf (a), y = valueOf (b);
                          return x > y || (! (x < y) && a < b);
                      });
}

/** The mean of the largest values; reorders them. 0 for no values. */
inline double meanOfLargest (std::span<float> values, std::size_t count)
{
    count = std::min (count, values.size());

    if (count == 0)
        return 0.0;

    const auto end = values.begin() + static_cast<std::ptrdiff_t> (count);
    std::nth_element (values.begin(), end - 1, values.end(), std::greater<>());
    // Sorted, so that the sum does not depend on how the selection left them.
    std::sort (values.begin(), end);
    double sum = 0.0;

    for (auto it = values.begin(); it != end; ++it)
        sum += static_cast<double> (*it);

    return sum / static_cast<double> (count);
}

} // namespace tessivar
