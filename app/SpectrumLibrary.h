#pragma once

#include "jobs/SpectrumReading.h"
#include "model/GroupState.h"
#include "terms/ChannelLayout.h"
#include "terms/SpectrumTile.h"
#include "ui/wave/SpectrumContent.h"

#include <juce_events/juce_events.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace tessivar
{

/** Computes tiles of spectrograms on a thread of its own, one after the other. It keeps none of them: the
    view does. Everything else belongs to the message thread.
*/
class SpectrumLibrary : private juce::AsyncUpdater
{
public:
    SpectrumLibrary();
    ~SpectrumLibrary() override;

    /** Computes these tiles of a track, the first one first, with what these weights keep when it has a
        processed output. The newest list takes the place of any before; what is under way and not on it is
        dropped within 20 ms. Each tile comes on the message thread, by onTile.
    */
    void request (const TrackState& track, const ChannelWeights& weights, std::vector<SpectrumWish> tiles);

    std::function<void (std::uint32_t contentId, std::shared_ptr<const SpectrumTile>)> onTile;

private:
    /** Of one track, what is still to be computed. */
    struct List
    {
        std::uint32_t contentId = 0;
        double sampleRate = 0.0;
        std::shared_ptr<TrackSamples> samples;
        std::optional<ChannelWeights> weights;
        std::vector<SpectrumWish> tiles; // the next one first

        [[nodiscard]] bool isOfSameSignal (const List& other) const
        {
            return contentId == other.contentId && weights == other.weights;
        }
        void remove (SpectrumPlace place);
    };

    void work();
    /** False at the end. */
    [[nodiscard]] bool computeNext();
    /** Keeps what was under way, and pauses. */
    void waitForMemory();
    [[nodiscard]] std::shared_ptr<SpectrumTile> compute (const List& one);
    void handleAsyncUpdate() override;

    std::mutex lock; // guards wanted, underway, done, isEnding
    std::condition_variable wake;
    List wanted, underway; // the latter of one tile, or none
    std::vector<std::pair<List, std::shared_ptr<const SpectrumTile>>> done;
    bool isEnding = false;

    std::atomic<bool> isStale{ false };                        // what is under way
    std::optional<std::pair<double, SpectrumReading>> reading; // for a sample rate; on the library's thread
    std::thread thread;

    JUCE_DECLARE_NON_COPYABLE (SpectrumLibrary)
};

} // namespace tessivar
