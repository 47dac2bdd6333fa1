#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace tessivar
{

/** The part of a track's samples that is in memory for playback: pages of frames, found by absolute position.

    Pages are in no particular order, so that both ends of a loop, or the places before and after a jump, can
    be in memory at once. One thread fills pages, one other thread reads them; neither waits for the other.
    All memory, numPages * framesPerPage * numChannels floats, is reserved at construction.
*/
class FramePages
{
public:
    static constexpr int framesPerPage = 8192;

    FramePages (int numChannels, std::int64_t lengthInFrames, int numPages);

    [[nodiscard]] int numChannels() const { return channels; }
    [[nodiscard]] std::int64_t lengthInFrames() const { return length; }

    [[nodiscard]] static std::int64_t pageOf (std::int64_t position) { return position / framesPerPage; }

    /** Whether a page is in memory; may have changed on return. Any thread. */
    [[nodiscard]] bool contains (std::int64_t page) const;

    /** Frames in memory from position on without a gap, at most maxFrames, up to the end of the track. Any
        thread.
    */
    [[nodiscard]] std::int64_t framesAvailable (std::int64_t position, std::int64_t maxFrames) const;

    /** A page held by the reader: it can't be overwritten while this object exists. At most one at a time. */
    class Lease
    {
    public:
        Lease (Lease&& other) noexcept : slotState (other.slotState), firstFrame (other.firstFrame)
        {
            other.slotState = nullptr;
        }

        ~Lease();

        Lease (const Lease&) = delete;
        Lease& operator= (const Lease&) = delete;
        Lease& operator= (Lease&&) = delete;

        /** framesPerPage interleaved frames, 0 beyond the end of the track. */
        [[nodiscard]] const float* frames() const { return firstFrame; }

    private:
        friend class FramePages;
        Lease (std::atomic<int>& state, const float* frame) : slotState (&state), firstFrame (frame) {}

        std::atomic<int>* slotState;
        const float* firstFrame;
    };

    /** Reader only: nothing when the page isn't in memory. */
    [[nodiscard]] std::optional<Lease> lease (std::int64_t page);

    /** Filler only: stores a page in place of the one that victimDistance rates highest; a negative rating
        protects a page. frames holds up to framesPerPage interleaved frames; the rest of the page becomes 0.
        Returns false when there is no page to replace.
    */
    template <typename Distance>
    bool put (std::int64_t page, std::span<const float> frames, Distance&& victimDistance)
    {
        if (contains (page))
            return true;

        Slot* inUse = nullptr; // the best one, if the reader holds it

        for (int attempt = 0; attempt < 2; ++attempt)
        {
            Slot* best = nullptr;
            std::int64_t bestDistance = -1;

            for (auto& slot : slots)
            {
                const auto held = slot.page.load (std::memory_order_relaxed);
                const auto distance = held == noPage ? farthest : victimDistance (held);

                if (distance > bestDistance && &slot != inUse)
                {
                    best = &slot;
                    bestDistance = distance;
                }
            }

            if (best == nullptr || fill (*best, page, frames))
                return best != nullptr;

            inUse = best;
        }

        return false;
    }

private:
    static constexpr std::int64_t noPage = -1;
    static constexpr std::int64_t farthest = INT64_MAX;

    enum State : int
    {
        ready,   // free for either side to take
        reading, // held by the reader
        filling, // held by the filler
    };

    struct Slot
    {
        std::atomic<std::int64_t> page{ noPage };
        std::atomic<int> state{ ready };
        float* frames = nullptr;
    };

    bool fill (Slot& slot, std::int64_t page, std::span<const float> frames);

    const int channels;
    const std::int64_t length;
    const std::size_t floatsPerPage;
    std::unique_ptr<float[]>
        memory; // left untouched until it is filled: pages that are never used cost nothing
    std::vector<Slot> slots;
};

} // namespace tessivar
