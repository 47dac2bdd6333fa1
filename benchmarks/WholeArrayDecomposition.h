#pragma once

#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/MatrixView.h"
#include "engine/numerics/WorkerPool.h"

#include <string>

namespace tessivar::benchmarks
{

/** The anchor of the decomposition: the same iteration composed of calls that each pass over a whole array.

    Matrix products are OpenBLAS's sgemm on as many threads as the pool has; squares, floors, quotients and
    reciprocals are vector loops over equal shares of the array, one per worker. Model and quotient are kept
    as whole arrays, so that an iteration makes 29 passes over data of V's size. The workers sleep between
    loops and leave the processors to OpenBLAS.
*/
class WholeArrayDecomposition
{
public:
    /** Shapes as for decompose(); v, w and h must outlive this object. */
    WholeArrayDecomposition (MatrixView<const float> v,
                             MatrixView<float> w,
                             MatrixView<float> h,
                             float continuityWeight,
                             WorkerPool& pool);

    void iterate();

    static constexpr int passesOverPower = 29;

    /** Version and kernels of the library. */
    [[nodiscard]] static std::string libraryName();

private:
    template <typename Loop>
    void inShares (std::size_t size, Loop&& loop);

    void quotientOfPower();
    void reciprocalOfModel();
    void updateModel();
    void updateActivations();
    void normalise();

    const MatrixView<const float> v;
    const MatrixView<float> w, h;
    const float continuityWeight;
    WorkerPool& pool;
    AlignedBuffer model, quotient;
    AlignedBuffer activationNumerators, activationDenominators, oldActivations;
    AlignedBuffer baseNumerators, baseDenominators;
};

} // namespace tessivar::benchmarks
