#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar
{

/** Storage of a pyramid: blocks of equally many frames, and on each further level one block for four of the
    level below, up to a level of at most four.

    The length is fixed at construction, where all memory is taken. One thread appends; any thread may read
    meanwhile and sees the blocks completed so far.
*/
template <typename Block, int framesPerBlock>
class BlockPyramid
{
public:
    static constexpr int baseBlock = framesPerBlock;
    static constexpr int factor = 4; // blocks of one level in one block of the next

protected:
    explicit BlockPyramid (std::int64_t lengthInFrames) : length (std::max<std::int64_t> (lengthInFrames, 0))
    {
        auto count = static_cast<std::size_t> ((length + baseBlock - 1) / baseBlock);
        std::size_t total = 0;
        while (count > 0)
        {
            levels.push_back ({ total, count });
            total += count;
            if (count <= factor)
                break;
            count = (count + factor - 1) / factor;
        }
        blocks.resize (total);
    }

    /** Stores the next block and every parent it completes, which merge makes of its children. Writing thread
        only.
    */
    template <typename Merge>
    void store (Block block, Merge merge) noexcept
    {
        auto index = readyBlocks.load (std::memory_order_relaxed);
        const auto ready = index + 1;
        blocks[index] = block;

        // A parent is stored after its last child: the fourth, or the end of the level.
        for (std::size_t level = 1; level < levels.size(); ++level)
        {
            const auto& children = levels[level - 1];
            if ((index + 1) % factor != 0 && index + 1 != children.count)
                break;

            const auto parent = index / factor;
            const std::span<const Block> family (blocks.data() + children.offset + parent * factor,
                                                 index + 1 - parent * factor);
            blocks[levels[level].offset + parent] = merge (family);
            index = parent;
        }
        readyBlocks.store (ready, std::memory_order_release);
    }

    /** Frames that can be read: whole blocks, and the shorter one at the end. */
    [[nodiscard]] std::int64_t numReady() const noexcept
    {
        const auto ready = static_cast<std::int64_t> (readyBlocks.load (std::memory_order_acquire));
        return std::min (ready * baseBlock, length);
    }

    [[nodiscard]] const Block& at (std::size_t level, std::size_t index) const noexcept
    {
        return blocks[levels[level].offset + index];
    }

    struct Level
    {
        std::size_t offset = 0, count = 0;
    };

    const std::int64_t length;
    std::vector<Level> levels;

private:
    std::vector<Block> blocks; // level after level

    // Raised once a block and every parent it completes are stored; readers look no further.
    std::atomic<std::size_t> readyBlocks{ 0 };
};

} // namespace tessivar
