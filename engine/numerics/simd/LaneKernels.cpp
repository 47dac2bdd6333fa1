#include "engine/numerics/simd/LaneKernels.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/numerics/simd/LaneKernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "engine/numerics/simd/ExactArithmetic.h"

HWY_BEFORE_NAMESPACE();
namespace tessivar::kernels::HWY_NAMESPACE
{

constexpr FloatTag tag;

/** Sums of a piece of 256 values: four for each frame, so that additions need not wait for one another. */
class PieceSums
{
public:
    static constexpr std::size_t pieceLength = 256;

    PieceSums()
    {
#pragma GCC unroll 16
        for (auto& s : sums)
            s = hn::Zero (tag);
    }

    /** Adds to the frames of vector v; i picks one of the four sums. */
    HWY_INLINE void add (std::size_t i, std::size_t v, Floats x)
    {
        auto& s = sums[i * vectorsPerPanel + v];
        s = hn::Add (s, x);
    }

    HWY_INLINE void addTo (double* dest) const
    {
        HWY_ALIGN float x[16];

#pragma GCC unroll 4
        for (std::size_t v = 0; v < vectorsPerPanel; ++v)
            hn::Store (hn::Add (hn::Add (sums[v], sums[vectorsPerPanel + v]),
                                hn::Add (sums[2 * vectorsPerPanel + v], sums[3 * vectorsPerPanel + v])),
                       tag,
                       x + v * vectorLanes);

        for (std::size_t l = 0; l < lanes; ++l)
            dest[l] += static_cast<double> (x[l]);
    }

private:
    Floats sums[4 * vectorsPerPanel];
};

/** Calls work (i, v, offset) for each vector of a piece, i being 0..3 in turn. */
template <typename Work>
HWY_INLINE void forEachVector (std::size_t start, std::size_t end, const Work& work)
{
    for (auto i = start; i < end; i += 4)
#pragma GCC unroll 4
        for (std::size_t j = 0; j < 4; ++j)
#pragma GCC unroll 4
            for (std::size_t v = 0; v < vectorsPerPanel; ++v)
                work (j, v, (i + j) * lanes + v * vectorLanes);
}

void SquaresOfFrames (double* dest, const float* values, std::size_t n)
{
    std::fill_n (dest, lanes, 0.0);

    for (std::size_t start = 0; start < n; start += PieceSums::pieceLength)
    {
        PieceSums sums;
        forEachVector (start,
                       std::min (n, start + PieceSums::pieceLength),
                       [&] (std::size_t j, std::size_t v, std::size_t offset)
                       {
                           const auto x = hn::Load (tag, values + offset);
                           sums.add (j, v, hn::Mul (x, x));
                       });
        sums.addTo (dest);
    }
}

void ProductsOfFrames (
    double* products, double* squares, const float* a, const float* b, const float* scales, std::size_t n)
{
    std::fill_n (products, lanes, 0.0);
    std::fill_n (squares, lanes, 0.0);

    for (std::size_t start = 0; start < n; start += PieceSums::pieceLength)
    {
        PieceSums productSums, squareSums;
        forEachVector (start,
                       std::min (n, start + PieceSums::pieceLength),
                       [&] (std::size_t j, std::size_t v, std::size_t offset)
                       {
                           const auto x =
                               hn::Mul (hn::Load (tag, b + offset), hn::Load (tag, scales + v * vectorLanes));
                           productSums.add (j, v, hn::Mul (hn::Load (tag, a + offset), x));
                           squareSums.add (j, v, hn::Mul (x, x));
                       });
        productSums.addTo (products);
        squareSums.addTo (squares);
    }
}

void MagnitudesOfFrames (float* dest, const float* spectrum, std::size_t numBins)
{
    for (std::size_t bin = 0; bin < numBins; ++bin, spectrum += 2 * lanes, dest += lanes)
#pragma GCC unroll 4
        for (std::size_t v = 0; v < lanes; v += vectorLanes)
        {
            const auto re = hn::Load (tag, spectrum + v), im = hn::Load (tag, spectrum + lanes + v);
            hn::Store (hn::Sqrt (hn::Add (hn::Mul (re, re), hn::Mul (im, im))), tag, dest + v);
        }
}

void BandPowersOfFrames (float* dest,
                         const float* magnitudes,
                         const float* weights,
                         const std::size_t* firstBin,
                         const std::size_t* sizes,
                         std::size_t numBands)
{
    for (std::size_t band = 0; band < numBands; ++band, dest += lanes)
    {
        const auto* x = magnitudes + firstBin[band] * lanes;
        Floats sums[vectorsPerPanel];

#pragma GCC unroll 4
        for (auto& s : sums)
            s = hn::Zero (tag);

        for (std::size_t i = 0; i < sizes[band]; ++i, x += lanes)
        {
            const auto weight = broadcast (*weights++);

#pragma GCC unroll 4
            for (std::size_t v = 0; v < vectorsPerPanel; ++v)
                sums[v] = hn::Add (sums[v], hn::Mul (weight, hn::Load (tag, x + v * vectorLanes)));
        }

#pragma GCC unroll 4
        for (std::size_t v = 0; v < vectorsPerPanel; ++v)
            hn::Store (hn::Mul (sums[v], sums[v]), tag, dest + v * vectorLanes);
    }
}

void DivideFramesByModel (float* spectrum,
                          const float* bases,
                          std::size_t basesStride,
                          const float* activations,
                          std::size_t numBins)
{
    const auto one = broadcast (1.0f), lowest = broadcast (1.0e-24f);

    // One vector of frames after the other, so that their activations stay in registers.
    for (std::size_t v = 0; v < lanes; v += vectorLanes)
    {
        Floats h[10];

#pragma GCC unroll 10
        for (std::size_t k = 0; k < 10; ++k)
            h[k] = hn::Load (tag, activations + k * lanes + v);

        auto* x = spectrum + v;

        for (std::size_t bin = 0; bin < numBins; ++bin, x += 2 * lanes)
        {
            auto model = hn::Mul (h[0], broadcast (bases[bin]));
#pragma GCC unroll 10
            for (std::size_t k = 1; k < 10; ++k)
                model = hn::Add (model, hn::Mul (h[k], broadcast (bases[k * basesStride + bin])));

            const auto inverse = hn::Div (one, hn::Max (model, lowest));
            hn::Store (hn::Mul (hn::Load (tag, x), inverse), tag, x);
            hn::Store (hn::Mul (hn::Load (tag, x + lanes), inverse), tag, x + lanes);
        }
    }
}

template <std::size_t numSummed>
void sumBases (float* HWY_RESTRICT dest,
               const float* HWY_RESTRICT bases,
               std::size_t basesStride,
               const float* HWY_RESTRICT activations,
               const int* components,
               std::size_t numBins)
{
    const auto lowest = broadcast (1.0e-30f);
    const float* weights[numSummed];

    for (std::size_t c = 0; c < numSummed; ++c)
        weights[c] = bases + static_cast<std::size_t> (components[c]) * basesStride;

    for (std::size_t v = 0; v < lanes; v += vectorLanes)
    {
        Floats h[numSummed];

#pragma GCC unroll 5
        for (std::size_t c = 0; c < numSummed; ++c)
            h[c] = hn::Load (tag, activations + static_cast<std::size_t> (components[c]) * lanes + v);

        for (std::size_t bin = 0; bin < numBins; ++bin)
        {
            auto sum = hn::Mul (h[0], broadcast (weights[0][bin]));
#pragma GCC unroll 5
            for (std::size_t c = 1; c < numSummed; ++c)
                sum = hn::Add (sum, hn::Mul (h[c], broadcast (weights[c][bin])));

            // A transform that works with subnormal numbers would take a hundred times as long.
            hn::Store (hn::IfThenElseZero (hn::Ge (sum, lowest), sum), tag, dest + bin * lanes + v);
        }
    }
}

void SumOfBases (float* dest,
                 const float* bases,
                 std::size_t basesStride,
                 const float* activations,
                 const int* components,
                 std::size_t numSummed,
                 std::size_t numBins)
{
    const auto sum = numSummed == 1   ? sumBases<1>
                     : numSummed == 2 ? sumBases<2>
                     : numSummed == 3 ? sumBases<3>
                     : numSummed == 4 ? sumBases<4>
                                      : sumBases<5>;
    sum (dest, bases, basesStride, activations, components, numBins);
}

} // namespace tessivar::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace tessivar::kernels
{
TESSIVAR_KERNEL (squaresOfFrames, SquaresOfFrames);
TESSIVAR_KERNEL (productsOfFrames, ProductsOfFrames);
TESSIVAR_KERNEL (magnitudesOfFrames, MagnitudesOfFrames);
TESSIVAR_KERNEL (bandPowersOfFrames, BandPowersOfFrames);
TESSIVAR_KERNEL (divideFramesByModel, DivideFramesByModel);
TESSIVAR_KERNEL (sumOfBases, SumOfBases);
} // namespace tessivar::kernels
#endif
