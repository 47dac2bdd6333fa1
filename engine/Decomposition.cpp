#include "engine/Decomposition.h"

#include "engine/numerics/AlignedBuffer.h"
#include "engine/numerics/simd/DecompositionKernels.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <condition_variable>
#include <limits>
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
// What a worker may have begun: the power of three tiles of eight tracks takes 1 MB of its cache.
constexpr std::size_t tilesInWork = 3;
constexpr std::size_t numComponents = kernels::numComponents;

/** Work on all tiles in ascending order, whatever order their numbers come in: nobody waits for a turn,
    whoever hands in the next tile also does those that wait behind it.
*/
class OrderedWork
{
public:
    explicit OrderedWork (std::size_t numTiles) : handedIn (numTiles) {}

    void restart()
    {
        const std::lock_guard lock (positionLock);
        std::fill (handedIn.begin(), handedIn.end(), nullptr);
        position = 0;
        cancelled = false;
    }

    /** Calls work (tile, sums) for this tile and those behind it, as far as they follow each other. sums stay
        untouched until isDone (tile). */
    template <typename Work>
    void handIn (std::size_t tile, const float* sums, const Work& work)
    {
        std::unique_lock lock (positionLock);
        handedIn[tile] = sums;

        // Somebody who is at work looks for this one afterwards.
        while (! isBusy && position < handedIn.size() && handedIn[position] != nullptr)
        {
            isBusy = true;
            const auto next = position.load();
            lock.unlock();
            work (next, handedIn[next]);
            lock.lock();
            isBusy = false;
            position = next + 1;
            moved.notify_all();
        }
    }

    [[nodiscard]] bool isDone (std::size_t tile) const { return position > tile; }

    /** Sleeps until a tile is done; false when the work was cancelled. */
    [[nodiscard]] bool waitFor (std::size_t tile)
    {
        std::unique_lock lock (positionLock);
        moved.wait (lock, [&] { return cancelled || isDone (tile); });
        return ! cancelled;
    }

    void cancel()
    {
        {
            const std::lock_guard lock (positionLock);
            cancelled = true;
        }

        moved.notify_all();
    }

private:
    // Guards what follows; position is also read without it.
    std::mutex positionLock;
    std::condition_variable moved;
    std::vector<const float*> handedIn;
    std::atomic<std::size_t> position{ 0 };
    bool isBusy = false, cancelled = false;
};

/** A tile in work, with its sums. */
struct TileSums
{
    explicit TileSums (std::size_t packedSize) : forBases (2 * packedSize) {}

    std::size_t tile = 0;
    // Numerators, then denominators.
    AlignedBuffer forActivations{ 2 * tileColumns * kernels::activationStride };
    AlignedBuffer forBases;
};

/** A worker's tiles, oldest first. It goes on with the next one where the order keeps it from finishing one,
    as long as it has a place for the sums. */
struct WorkerTiles
{
    explicit WorkerTiles (std::size_t packedSize)
    {
        for (std::size_t i = 0; i < tilesInWork; ++i)
            places.emplace_back (packedSize);
    }

    [[nodiscard]] TileSums& at (std::size_t number) { return places[number % tilesInWork]; }

    std::vector<TileSums> places;
    // Tiles begun, summed for the bases, and done with, in this iteration.
    std::size_t numBegun = 0, numSummed = 0, numDone = 0;
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
          normalBases (packedSize), activations (numFrames * kernels::activationStride),
          rangeSums (2 * packedSize), allSums (2 * packedSize), activationUpdates (numTiles),
          baseSums (numTiles)
    {
        scale.fill (1.0f);

        for (int i = 0; i < pool.numWorkers(); ++i)
            workers.emplace_back (packedSize);

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

        beginIteration();
    }

    void unpack (MatrixView<float> w, MatrixView<float> h) const
    {
        for (std::size_t k = 0; k < numComponents; ++k)
            for (std::size_t row = 0; row < numRows; ++row)
                w (row, k) = bases[packedIndex (row, k)];

        for (std::size_t t = 0; t < numFrames; ++t)
            for (std::size_t k = 0; k < numComponents; ++k)
                h (k, t) = activations[t * kernels::activationStride + k] * scale[k];
    }

    bool iterate (bool isLast)
    {
        std::atomic<std::size_t> nextTile{ 0 };
        std::atomic<bool> stopped{ false };
        activationUpdates.restart();
        baseSums.restart();

        pool.onEachWorker (
            [&] (int worker)
            {
                if (! workOnTiles (workers[static_cast<std::size_t> (worker)], nextTile, stopped))
                {
                    stopped = true;
                    activationUpdates.cancel();
                    baseSums.cancel();
                }
            });

        if (stopped)
            return false;

        updateBases();

        // The floor is applied for the next iteration, so not to the final result.
        if (! isLast)
            beginIteration();

        return true;
    }

    /** One worker's part of an iteration; false when it was stopped. */
    bool workOnTiles (WorkerTiles& mine, std::atomic<std::size_t>& nextTile, const std::atomic<bool>& stopped)
    {
        mine.numBegun = mine.numSummed = mine.numDone = 0;

        while (! stopped && ! control.stopRequested())
        {
            while (mine.numDone < mine.numSummed && baseSums.isDone (mine.at (mine.numDone).tile))
                ++mine.numDone;

            // The oldest tile first: its power is the closest to leaving the cache.
            if (mine.numSummed < mine.numBegun && activationUpdates.isDone (mine.at (mine.numSummed).tile))
            {
                sumForBases (mine.at (mine.numSummed), mine);
                ++mine.numSummed;
                continue;
            }

            if (nextTile < numTiles && mine.numBegun - mine.numDone < tilesInWork)
            {
                if (const auto tile = nextTile++; tile < numTiles)
                {
                    auto& begun = mine.at (mine.numBegun++);
                    begun.tile = tile;
                    sumForActivations (begun, mine);
                }

                continue;
            }

            // All that can be done now is begun.
            if (mine.numSummed < mine.numBegun)
            {
                if (! activationUpdates.waitFor (mine.at (mine.numSummed).tile))
                    return false;
            }
            else if (nextTile >= numTiles)
            {
                return true;
            }
            else if (! baseSums.waitFor (mine.at (mine.numDone).tile))
            {
                return false;
            }
        }

        return false;
    }

    [[nodiscard]] kernels::DecompositionTile columnsOf (std::size_t tile, WorkerTiles& mine)
    {
        const auto first = tile * tileColumns;
        kernels::DecompositionTile columns;
        columns.bases = normalBases.data();
        columns.numPanels = numPanels;
        columns.power = power + first * numPanels * kernels::lanes;
        columns.activations = activations.data() + first * kernels::activationStride;
        columns.numColumns = std::min (tileColumns, numFrames - first);
        columns.scratch = mine.kernelScratch.data();
        return columns;
    }

    /** Sums for H, and the update in order of the tile's columns of H. */
    void sumForActivations (TileSums& sums, WorkerTiles& mine)
    {
        const auto columns = columnsOf (sums.tile, mine);
        auto* const h = activations.data() + sums.tile * tileColumns * kernels::activationStride;
        kernels::scaleActivations (h + kernels::activationStride, columns.numColumns - 1, scale.data());
        kernels::sumsForActivations (
            columns, sums.forActivations.data(), sums.forActivations.data() + denominatorsOfTile);

        activationUpdates.handIn (sums.tile,
                                  sums.forActivations.data(),
                                  [this] (std::size_t tile, const float* numerators)
                                  {
                                      const auto first = tile * tileColumns;
                                      kernels::updateActivations (activations.data(),
                                                                  numerators,
                                                                  numerators + denominatorsOfTile,
                                                                  first,
                                                                  std::min (first + tileColumns, numFrames),
                                                                  numFrames,
                                                                  settings.continuityWeight);
                                  });
    }

    /** Sums for W, from V that is still in the cache. */
    void sumForBases (TileSums& sums, WorkerTiles& mine)
    {
        kernels::sumsForBases (
            columnsOf (sums.tile, mine), sums.forBases.data(), sums.forBases.data() + packedSize);
        baseSums.handIn (sums.tile,
                         sums.forBases.data(),
                         [this] (std::size_t tile, const float* ofTile) { addToRange (tile, ofTile); });
    }

    void addToRange (std::size_t tile, const float* sums)
    {
        if (tile > 0 && rangeOf (tile - 1) == rangeOf (tile))
        {
            kernels::add (rangeSums.data(), sums, 2 * packedSize);
        }
        else
        {
            if (tile > 0)
                addRangeToAll (rangeOf (tile - 1));

            std::copy_n (sums, 2 * packedSize, rangeSums.data());
        }

        if (tile + 1 == numTiles)
            addRangeToAll (rangeOf (tile));
    }

    void addRangeToAll (std::size_t range)
    {
        if (range == 0)
            std::copy_n (rangeSums.data(), 2 * packedSize, allSums.data());
        else
            kernels::add (allSums.data(), rangeSums.data(), 2 * packedSize);
    }

    /** W of this iteration, and what its columns summed to, by which H is scaled. */
    void updateBases()
    {
        for (std::size_t i = 0; i < packedSize; ++i)
            bases[i] *= allSums[i] / std::max (allSums[packedSize + i], method::floorValue);

        for (std::size_t k = 0; k < numComponents; ++k)
        {
            double sum = 0.0;

            for (std::size_t row = 0; row < numRows; ++row)
                sum += static_cast<double> (bases[packedIndex (row, k)]);

            scale[k] = static_cast<float> (sum);
            const auto inverse = 1.0f / std::max (scale[k], method::floorValue);

            for (std::size_t row = 0; row < numRows; ++row)
                bases[packedIndex (row, k)] *= inverse;
        }
    }

    /** Each tile's first column of H is scaled and raised to the floor, since the update of the tile before
        reads it; whoever begins the tile does the others. */
    void beginIteration()
    {
        for (std::size_t t = 0; t < numFrames; t += tileColumns)
            kernels::scaleActivations (activations.data() + t * kernels::activationStride, 1, scale.data());

        for (std::size_t i = 0; i < packedSize; ++i)
            normalBases[i] = bases[i] < std::numeric_limits<float>::min() ? 0.0f : bases[i];
    }

    static constexpr std::size_t denominatorsOfTile = tileColumns * kernels::activationStride;

    const DecompositionSettings& settings;
    WorkerPool& pool;
    const WorkControl& control;
    const std::size_t numRows, numFrames, numPanels, packedSize, numTiles;
    const float* power = nullptr;
    // normalBases are the bases that kernels read: 0 in place of subnormal numbers. A factor below 1e-38 is
    // lost beside the floors, while some processors take a hundred times as long for it. The bases themselves
    // die by gradual underflow.
    AlignedBuffer paddedPower, bases, normalBases, activations;
    AlignedBuffer rangeSums, allSums;                                // numerators, then denominators
    alignas (64) std::array<float, kernels::activationStride> scale; // of H, at the start of an iteration
    std::vector<WorkerTiles> workers;
    OrderedWork activationUpdates, baseSums;
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
