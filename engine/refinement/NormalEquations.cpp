#include "engine/refinement/NormalEquations.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tessivar::refinement
{

namespace
{
using Complex = std::complex<double>;

/** a * b without the operator's care for infinities. */
Complex times (Complex a, Complex b)
{
    return { a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real() };
}
} // namespace

bool solve (std::span<Complex> matrix, std::span<Complex> right)
{
    const auto n = right.size();
    auto *a = matrix.data(), *b = right.data();

    for (std::size_t j = 0; j < n; ++j)
    {
        for (std::size_t i = j; i < n; ++i)
        {
            auto sum = a[i * n + j];

            for (std::size_t k = 0; k < j; ++k)
                sum -= times (a[i * n + k], std::conj (a[j * n + k]));

            if (i > j)
                a[i * n + j] = sum / a[j * n + j].real();
            else if (! (sum.real() > 0.0))
                return false;
            else
                a[j * n + j] = std::sqrt (sum.real());
        }

        for (std::size_t k = 0; k < j; ++k)
            b[j] -= times (a[j * n + k], b[k]);

        b[j] /= a[j * n + j].real();
    }

    for (auto j = n; j-- > 0;)
    {
        for (auto k = j + 1; k < n; ++k)
            b[j] -= times (std::conj (a[k * n + j]), b[k]);

        b[j] /= a[j * n + j].real();
    }

    return std::all_of (right.begin(),
                        right.end(),
                        [] (const Complex& value)
                        { return std::isfinite (value.real()) && std::isfinite (value.imag()); });
}

} // namespace tessivar::refinement
