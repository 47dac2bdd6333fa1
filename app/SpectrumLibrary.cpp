#include "app/SpectrumLibrary.h"

#include "app/JobRunner.h"

#include <algorithm>

namespace tessivar
{

void SpectrumLibrary::List::remove (SpectrumPlace place)
{
    std::erase_if (tiles, [&] (const SpectrumWish& wish) { return wish.place == place; });
}

SpectrumLibrary::SpectrumLibrary() : thread ([this] { work(); }) {}

SpectrumLibrary::~SpectrumLibrary()
{
    cancelPendingUpdate();

    {
        const std::lock_guard guard (lock);
        isEnding = true;
        isStale = true;
    }

    wake.notify_all();
    thread.join();
}

void SpectrumLibrary::request (const TrackState& track,
                               const ChannelWeights& weights,
                               std::vector<SpectrumWish> tiles)
{
    List list;
    list.contentId = track.contentId;
    list.sampleRate = track.sampleRate();
    list.samples = track.hasProcessedOutput() ? track.rendered : track.source;
    list.tiles = std::move (tiles);

    if (list.samples == nullptr)
        list.samples = track.rendered;

    if (track.hasProcessedOutput())
        list.weights = weights;

    const std::lock_guard guard (lock);

    // What is computed already is on its way to the view.
    for (const auto& [from, tile] : done)
        if (from.isOfSameSignal (list))
            list.remove (tile->place);

    // What is under way goes on when it is wanted still, unless it has been told to stop.
    if (! isStale.exchange (true) && ! underway.tiles.empty() && underway.isOfSameSignal (list))
    {
        const auto place = underway.tiles.front().place;
        const auto count = list.tiles.size();
        list.remove (place);
        isStale = list.tiles.size() == count;
    }

    wanted = std::move (list);
    wake.notify_all();
}

void SpectrumLibrary::handleAsyncUpdate()
{
    decltype (done) ready;

    {
        const std::lock_guard guard (lock);
        ready.swap (done);
    }

    if (onTile)
        for (auto& [from, tile] : ready)
            onTile (from.contentId, std::move (tile));
}

void SpectrumLibrary::work()
{
    auto goesOn = true;

    while (goesOn)
        if (! guarded ([&] { goesOn = computeNext(); }).isOk())
            waitForMemory();
}

bool SpectrumLibrary::computeNext()
{
    List one;

    {
        std::unique_lock guard (lock);
        wake.wait (guard, [this] { return isEnding || ! wanted.tiles.empty(); });

        if (isEnding)
            return false;

        one = wanted;
        one.tiles.resize (1);
        underway = one;
        wanted.tiles.erase (wanted.tiles.begin());
        isStale = false;
    }

    auto tile = compute (one);
    const std::lock_guard guard (lock);

    if (tile != nullptr && ! isStale)
    {
        one.samples = nullptr;
        done.emplace_back (std::move (one), std::move (tile));
        triggerAsyncUpdate();
    }

    underway = {};
    return true;
}

void SpectrumLibrary::waitForMemory()
{
    reading.reset();
    std::unique_lock guard (lock);

    // The list has room for the tile, which was taken from it.
    if (! isStale)
        wanted.tiles.insert (wanted.tiles.begin(), underway.tiles.begin(), underway.tiles.end());

    underway = {};
    wake.wait_for (guard, pauseWithoutMemory, [this] { return isEnding; });
}

std::shared_ptr<SpectrumTile> SpectrumLibrary::compute (const List& one)
{
    const auto& wish = one.tiles.front();
    auto tile = std::make_shared<SpectrumTile>();
    tile->place = wish.place;

    if (wish.known != nullptr)
        tile->source = wish.known->source;

    if (one.samples == nullptr)
        return nullptr;

    if (! reading || reading->first != one.sampleRate)
    {
        reading.reset();
        reading.emplace (one.sampleRate, one.sampleRate);
    }

    return reading->second.read (*one.samples, one.weights, *tile, [this] { return isStale.load(); })
               ? tile
               : nullptr;
}

} // namespace tessivar
