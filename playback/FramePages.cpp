#include "playback/FramePages.h"

#include <algorithm>
#include <cassert>

namespace tessivar
{

FramePages::FramePages (int numChannels, std::int64_t lengthInFrames, int numPages)
    : channels (numChannels), length (lengthInFrames),
      floatsPerPage (static_cast<std::size_t> (framesPerPage) * static_cast<std::size_t> (numChannels)),
      memory (new float[floatsPerPage * static_cast<std::size_t> (numPages)]),
      slots (static_cast<std::size_t> (numPages))
{
    assert (numChannels > 0 && numPages > 0);

    for (std::size_t i = 0; i < slots.size(); ++i)
        slots[i].frames = memory.get() + i * floatsPerPage;
}

bool FramePages::contains (std::int64_t page) const
{
    return std::any_of (slots.begin(),
                        slots.end(),
                        [page] (const Slot& slot)
                        { return slot.page.load (std::memory_order_relaxed) == page; });
}

std::int64_t FramePages::framesAvailable (std::int64_t position, std::int64_t maxFrames) const
{
    const auto end = std::min (length, position + maxFrames);
    auto reached = position;

    while (reached < end && contains (pageOf (reached)))
        reached = (pageOf (reached) + 1) * framesPerPage;

    return reached >= end ? maxFrames : reached - position;
}

std::optional<FramePages::Lease> FramePages::lease (std::int64_t page)
{
    for (auto& slot : slots)
    {
        if (slot.page.load (std::memory_order_relaxed) != page)
            continue;

        int expected = ready;

        // A failed exchange means the filler has the slot, so the page isn't in memory.
        if (! slot.state.compare_exchange_strong (
                expected, reading, std::memory_order_acquire, std::memory_order_relaxed))
            continue;

        // The slot may have been refilled between the look and the exchange.
        if (slot.page.load (std::memory_order_relaxed) == page)
            return Lease (slot.state, slot.frames);

        slot.state.store (ready, std::memory_order_release);
    }

    return std::nullopt;
}

FramePages::Lease::~Lease()
{
    if (slotState != nullptr)
        slotState->store (ready, std::memory_order_release);
}

bool FramePages::fill (Slot& slot, std::int64_t page, std::span<const float> frames)
{
    int expected = ready;

    if (! slot.state.compare_exchange_strong (
            expected, filling, std::memory_order_acquire, std::memory_order_relaxed))
        return false;

    const auto count = std::min (frames.size(), floatsPerPage);
    slot.page.store (noPage, std::memory_order_relaxed);
    std::copy_n (frames.begin(), count, slot.frames);
    std::fill (slot.frames + count, slot.frames + floatsPerPage, 0.0f);

    // Free the slot before naming its page, so that a page that is seen can be leased.
    slot.state.store (ready, std::memory_order_release);
    slot.page.store (page, std::memory_order_release);
    return true;
}

} // namespace tessivar
