#pragma once

#include <complex>
#include <span>

namespace tessivar::refinement
{

/** Solves A x = b for a Hermitian positive definite A (row-major, of which the lower triangle is read) by its
    Cholesky factorization, in place; false where A is not positive definite, or x not finite. */
[[nodiscard]] bool solve (std::span<std::complex<double>> matrix, std::span<std::complex<double>> right);

} // namespace tessivar::refinement
