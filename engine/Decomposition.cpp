#include "engine/Decomposition.h"

#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/simd/DecompositionKernels.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace tessivar
{

namespace
{
constexpr std::size_t tileColumns = 128;
// Sums for the bases are gathered in this many ranges of tiles and the ranges added in order: rounding errors
// stay small, and the result does not depend on which worker computed which tile.
constexpr std::size_t numRanges = 16;
constexpr std::size_t numComponents = kernels::numComponents;

/** A gate that workers pass in the order of their tiles. */
class TileOrder
{
public:
    void restart()
    {
        const std::lock_guard lock (positionLock);
        position = 0;
        cancelled = false;
    }

    /** Waits for the tile's turn; false when the work was cancelled. */
    [[nodiscard]] bool waitFor (std::size_t tile)
    {
        std::unique_lock lock (positionLock);
        moved.wait (lock, [&] { return cancelled || position == tile; });
        return ! cancelled;
    }

    void done()
    {
        change ([this] { ++position; });
    }

    void cancel()
    {
        change ([this] { cancelled = true; });
    }

private:
    template <typename Edit>
    void change (const Edit& edit)
    {
        {
            const std::lock_guard lock (positionLock);
            edit();
        }

        moved.notify_all();
    }

    // Guards position and cancelled.
    std::mutex positionLock;
    std::condition_variable moved;
    std::size_t position = 0;
    bool cancelled = false;
};

/** What one worker needs for a tile. */
struct Scratch
{
    explicit Scratch (std::size_t packedSize) : tileSums (2 * packedSize) {}

    AlignedBuffer activationSums{ 2 * tileColumns * kernels::activationStride };
    AlignedBuffer tileSums; // numerators, then denominators
    AlignedBuffer kernelScratch{ kernels::tileScratchFloats };
};

class Decomposer
{
public:
    Decomposer (MatrixView<const float> v,
                const DecompositionSettings& s,
                WorkerPool& p,
                const WorkControl& c)
        : settings (s), pool (p), control (c), numRows (v.rows), numFrames (v.columns),
          numPanels ((v.rows + kernels::lanes - 1) / kernels::lanes),
          packedSize (numPanels * kernels::lanes * numComponents),
          numTiles ((numFrames + tileColumns - 1) / tileColumns), bases (packedSize),
          activations (numFrames * kernels::activationStride), rangeSums (2 * packedSize * numRanges)
    {
        for (int i = 0; i < pool.numWorkers(); ++i)
            scratch.emplace_back (packedSize);

        power = v.data;

        if (numPanels * kernels::lanes != numRows)
        {
            // Rows of zeros change nothing: their bases stay 0.
            paddedPower = AlignedBuffer (numPanels * kernels::lanes * numFrames);

            for (std::size_t t = 0; t < numFrames; ++t)
                std::copy_n (v.column (t), numRows, paddedPower.data() + t * numPanels * kernels::lanes);

            power = paddedPower.data();
        }
    }

    bool run (MatrixView<float> w, MatrixView<float> h)
    {
        pack (w, h);

        for (int i = 1; i <= settings.numIterations; ++i)
        {
            if (control.stopRequested() || ! iterate (i == settings.numIterations))
                return false;

            control.progress (static_cast<double> (i) / settings.numIterations);
        }

        if (control.stopRequested())
            return false;

        unpack (w, h);
        return true;
    }

private:
    [[nodiscard]] std::size_t packedIndex (std::size_t row, std::size_t k) const
    {
        return ((row / kernels::lanes) * numComponents + k) * kernels::lanes + row % kernels::lanes;
    }

    [[nodiscard]] std::size_t rangeOf (std::size_t tile) const { return tile * numRanges / numTiles; }

    void pack (MatrixView<float> w, MatrixView<float> h)
    {
        for (std::size_t k = 0; k < numComponents; ++k)
            for (std::size_t row = 0; row < numRows; ++row)
                bases[packedIndex (row, k)] = w (row, k);

        for (std::size_t t = 0; t < numFrames; ++t)
            std::copy_n (h.column (t), numComponents, activations.data() + t * kernels::activationStride);

        alignas (64) std::array<float, kernels::activationStride> ones;
        ones.fill (1.0f);
        kernels::scaleActivations (activations.data(), numFrames, ones.data()); // floors them
    }

    void unpack (MatrixView<float> w, MatrixView<float> h) const
    {
        for (std::size_t k = 0; k < numComponents; ++k)
            for (std::size_t row = 0; row < numRows; ++row)
                w (row, k) = bases[packedIndex (row, k)];

        for (std::size_t t = 0; t < numFrames; ++t)
            for (std::size_t k = 0; k < numComponents; ++k)
                h (k, t) = activations[t * kernels::activationStride + k] * lastScale[k];
    }

    bool iterate (bool isLast)
    {
        std::atomic<std::size_t> nextTile{ 0 };
        std::atomic<bool> stopped{ false };
        activationOrder.restart();
        sumOrder.restart();

        pool.onEachWorker (
            [&] (int worker)
            {
                for (auto tile = nextTile++; tile < numTiles; tile = nextTile++)
                {
                    if (stopped || control.stopRequested()
                        || ! processTile (tile, scratch[static_cast<std::size_t> (worker)]))
                    {
                        stopped = true;
                        activationOrder.cancel();
                        sumOrder.cancel();
                        return;
                    }
                }
            });

        if (stopped)
            return false;

        updateBases (isLast);
        return true;
    }

    /** Sums for H, the in-order update of the tile's columns of H, sums for W: V is read while it is in the
        cache. */
    bool processTile (std::size_t tile, Scratch& mine)
    {
        const auto first = tile * tileColumns;
        const auto end = std::min (first + tileColumns, numFrames);

        kernels::DecompositionTile columns;
        columns.bases = bases.data();
        columns.numPanels = numPanels;
        columns.power = power + first * numPanels * kernels::lanes;
        columns.activations = activations.data() + first * kernels::activationStride;
        columns.numColumns = end - first;
        columns.scratch = mine.kernelScratch.data();

        auto* numerators = mine.activationSums.data();
        auto* denominators = numerators + tileColumns * kernels::activationStride;
        kernels::sumsForActivations (columns, numerators, denominators);

        if (! activationOrder.waitFor (tile))
            return false;

        kernels::updateActivations (
            activations.data(), numerators, denominators, first, end, numFrames, settings.continuityWeight);
        activationOrder.done();

        kernels::sumsForBases (columns, mine.tileSums.data(), mine.tileSums.data() + packedSize);

        if (! sumOrder.waitFor (tile))
            return false;

        const auto range = rangeOf (tile);
        auto* sums = rangeSums.data() + range * 2 * packedSize;

        if (tile == 0 || rangeOf (tile - 1) != range)
            std::copy_n (mine.tileSums.data(), 2 * packedSize, sums);
        else
            kernels::add (sums, mine.tileSums.data(), 2 * packedSize);

        sumOrder.done();
        return true;
    }

    void updateBases (bool isLast)
    {
        auto* sums = rangeSums.data();

        // With fewer tiles than ranges some ranges are empty.
        for (std::size_t tile = 1; tile < numTiles; ++tile)
            if (rangeOf (tile) != rangeOf (tile - 1))
                kernels::add (sums, sums + rangeOf (tile) * 2 * packedSize, 2 * packedSize);

        for (std::size_t i = 0; i < packedSize; ++i)
            bases[i] *= sums[i] / std::max (sums[packedSize + i], method::floorValue);

        alignas (64) std::array<float, kernels::activationStride> columnSum{};

        for (std::size_t k = 0; k < numComponents; ++k)
        {
            double sum = 0.0;

            for (std::size_t row = 0; row < numRows; ++row)
                sum += static_cast<double> (bases[packedIndex (row, k)]);

            columnSum[k] = static_cast<float> (sum);
            const auto inverse = 1.0f / std::max (columnSum[k], method::floorValue);

            for (std::size_t row = 0; row < numRows; ++row)
                bases[packedIndex (row, k)] *= inverse;
        }

        // The floor is applied for the next iteration, so not to the final result.
        if (isLast)
            std::copy_n (columnSum.begin(), numComponents, lastScale.begin());
        else
            kernels::scaleActivations (activations.data(), numFrames, columnSum.data());
    }

    const DecompositionSettings& settings;
    WorkerPool& pool;
    const WorkControl& control;
    const std::size_t numRows, numFrames, numPanels, packedSize, numTiles;
    const float* power = nullptr;
    AlignedBuffer paddedPower, bases, activations, rangeSums;
    std::array<float, numComponents> lastScale{ 1, 1, 1, 1, 1, 1, 1, 1, 1, 1 };
    std::vector<Scratch> scratch;
    TileOrder activationOrder, sumOrder;
};
} // namespace

bool decompose (MatrixView<const float> v,
                MatrixView<float> w,
                MatrixView<float> h,
                const DecompositionSettings& settings,
                WorkerPool& pool,
                const WorkControl& control)
{
    assert (w.rows == v.rows && w.columns == numComponents);
    assert (h.rows == numComponents && h.columns == v.columns && v.columns >= 2);

    return Decomposer (v, settings, pool, control).run (w, h);
}

} // namespace tessivar
