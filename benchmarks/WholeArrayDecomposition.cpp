#include "benchmarks/WholeArrayDecomposition.h"

#include "engine/AnalysisSettings.h"

#include <algorithm>
#include <cblas.h>
#include <cmath>
#include <cstring>

// The loops use the machine's widest vectors, as those of a vector library would.
#if defined(__x86_64__) && ! defined(__SANITIZE_ADDRESS__)
    #define TESSIVAR_WIDEST_VECTORS \
        __attribute__ ((target_clones ("arch=x86-64-v4", "arch=x86-64-v3", "default")))
#else
    #define TESSIVAR_WIDEST_VECTORS
#endif

namespace tessivar::benchmarks
{

namespace
{
constexpr float lowest = method::floorValue;

TESSIVAR_WIDEST_VECTORS void square (float* __restrict dest, const float* __restrict a, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        dest[i] = a[i] * a[i];
}

TESSIVAR_WIDEST_VECTORS void raiseToFloor (float* a, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        a[i] = a[i] < lowest ? lowest : a[i];
}

TESSIVAR_WIDEST_VECTORS void divideInto (float* __restrict divisor, const float* __restrict a, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        divisor[i] = a[i] / divisor[i];
}

TESSIVAR_WIDEST_VECTORS void invert (float* __restrict dest, const float* __restrict a, std::size_t n)
{
    for (std::size_t i = 0; i < n; ++i)
        dest[i] = 1.0f / a[i];
}

float floored (float x)
{
    return x < lowest ? lowest : x;
}

void multiply (CBLAS_TRANSPOSE transposeA,
               CBLAS_TRANSPOSE transposeB,
               std::size_t rows,
               std::size_t columns,
               std::size_t inner,
               const float* a,
               std::size_t strideA,
               const float* b,
               std::size_t strideB,
               float* dest)
{
    const auto size = [] (std::size_t x) { return static_cast<blasint> (x); };
    cblas_sgemm (CblasColMajor,
                 transposeA,
                 transposeB,
                 size (rows),
                 size (columns),
                 size (inner),
                 1.0f,
                 a,
                 size (strideA),
                 b,
                 size (strideB),
                 0.0f,
                 dest,
                 size (rows));
}
} // namespace

WholeArrayDecomposition::WholeArrayDecomposition (MatrixView<const float> power,
                                                  MatrixView<float> bases,
                                                  MatrixView<float> activations,
                                                  float weight,
                                                  WorkerPool& p)
    : v (power), w (bases), h (activations), continuityWeight (weight), pool (p), model (v.size()),
      quotient (v.size()), activationNumerators (h.size()), activationDenominators (h.size()),
      oldActivations (h.size()), baseNumerators (w.size()), baseDenominators (w.size())
{
    openblas_set_num_threads (pool.numWorkers());
    updateModel();
}

std::string WholeArrayDecomposition::libraryName()
{
    std::string text = openblas_get_config();
    const auto end = text.find (' ', text.find (' ') + 1);
    return text.substr (0, end) + ", " + openblas_get_corename() + " kernels";
}

template <typename Loop>
void WholeArrayDecomposition::inShares (std::size_t size, Loop&& loop)
{
    const auto numWorkers = static_cast<std::size_t> (pool.numWorkers());
    const auto share = (size / numWorkers + 15) / 16 * 16;

    pool.onEachWorker (
        [&] (int worker)
        {
            const auto first = std::min (size, static_cast<std::size_t> (worker) * share);
            const auto end =
                static_cast<std::size_t> (worker) + 1 == numWorkers ? size : std::min (size, first + share);
            loop (first, end - first);
        });
}

void WholeArrayDecomposition::quotientOfPower()
{
    auto* q = quotient.data();
    const auto* m = model.data();
    inShares (v.size(), [&] (std::size_t i, std::size_t n) { square (q + i, m + i, n); });
    inShares (v.size(), [&] (std::size_t i, std::size_t n) { raiseToFloor (q + i, n); });
    inShares (v.size(), [&] (std::size_t i, std::size_t n) { divideInto (q + i, v.data + i, n); });
}

void WholeArrayDecomposition::reciprocalOfModel()
{
    auto* q = quotient.data();
    auto* m = model.data();
    inShares (v.size(), [&] (std::size_t i, std::size_t n) { raiseToFloor (m + i, n); });
    inShares (v.size(), [&] (std::size_t i, std::size_t n) { invert (q + i, m + i, n); });
}

void WholeArrayDecomposition::updateModel()
{
    multiply (
        CblasNoTrans, CblasNoTrans, w.rows, h.columns, h.rows, w.data, w.rows, h.data, h.rows, model.data());
}

void WholeArrayDecomposition::updateActivations()
{
    const auto lambda = continuityWeight;
    const auto numFrames = h.columns, numComponents = h.rows;

    for (std::size_t t = 0; t < numFrames; ++t)
    {
        auto* now = h.column (t);
        const auto* numerator = activationNumerators.data() + t * numComponents;
        const auto* denominator = activationDenominators.data() + t * numComponents;
        const auto* old = oldActivations.data() + t * numComponents;

        for (std::size_t k = 0; k < numComponents; ++k)
        {
            const auto c = numerator[k] * (old[k] * old[k]);

            if (t == 0)
            {
                const auto a = denominator[k] + lambda / floored (now[k + numComponents]);
                now[k] = (lambda + std::sqrt (lambda * lambda + 4.0f * a * c)) / floored (2.0f * a);
            }
            else if (t + 1 < numFrames)
            {
                const auto a = floored (denominator[k] + lambda / floored (now[k + numComponents]));
                now[k] = std::sqrt ((c + lambda * h.column (t - 1)[k]) / a);
            }
            else
            {
                const auto b = c + lambda * h.column (t - 1)[k];
                now[k] = (std::sqrt (lambda * lambda + 4.0f * denominator[k] * b) - lambda)
                         / (2.0f * floored (denominator[k]));
            }
        }
    }
}

void WholeArrayDecomposition::normalise()
{
    for (std::size_t k = 0; k < w.columns; ++k)
    {
        double total = 0.0;

        for (std::size_t row = 0; row < w.rows; ++row)
            total += static_cast<double> (w (row, k));

        const auto sum = static_cast<float> (total), inverse = 1.0f / floored (sum);

        for (std::size_t row = 0; row < w.rows; ++row)
            w (row, k) *= inverse;

        for (std::size_t t = 0; t < h.columns; ++t)
            h (k, t) *= sum;
    }
}

void WholeArrayDecomposition::iterate()
{
    raiseToFloor (h.data, h.size());
    std::copy_n (h.data, h.size(), oldActivations.data());

    quotientOfPower();
    multiply (CblasTrans,
              CblasNoTrans,
              h.rows,
              h.columns,
              v.rows,
              w.data,
              v.rows,
              quotient.data(),
              v.rows,
              activationNumerators.data());
    reciprocalOfModel();
    multiply (CblasTrans,
              CblasNoTrans,
              h.rows,
              h.columns,
              v.rows,
              w.data,
              v.rows,
              quotient.data(),
              v.rows,
              activationDenominators.data());
    updateActivations();
    updateModel();

    quotientOfPower();
    multiply (CblasNoTrans,
              CblasTrans,
              w.rows,
              w.columns,
              v.columns,
              quotient.data(),
              v.rows,
              h.data,
              h.rows,
              baseNumerators.data());
    reciprocalOfModel();
    multiply (CblasNoTrans,
              CblasTrans,
              w.rows,
              w.columns,
              v.columns,
              quotient.data(),
              v.rows,
              h.data,
              h.rows,
              baseDenominators.data());

    for (std::size_t i = 0; i < w.size(); ++i)
        w.data[i] *= baseNumerators[i] / floored (baseDenominators[i]);

    updateModel();
    normalise();

    // Composed of whole arrays, an iteration leaves its scratch cleared for the next one.
    inShares (v.size(),
              [&] (std::size_t i, std::size_t n)
              { std::memset (quotient.data() + i, 0, n * sizeof (float)); });
}

} // namespace tessivar::benchmarks
