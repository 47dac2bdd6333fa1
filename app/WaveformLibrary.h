#pragma once

#include "model/GroupState.h"
#include "terms/ChannelLayout.h"
#include "ui/wave/ChannelEnergyPyramid.h"
#include "ui/wave/ChannelPeaks.h"
#include "ui/wave/EnvelopePyramid.h"
#include "ui/wave/WaveContent.h"

#include <juce_events/juce_events.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace tessivar
{

/** What a track's waveform and level bars are drawn from. */
struct TrackWaveform
{
    std::shared_ptr<EnvelopePyramid> source;
    std::shared_ptr<ChannelEnergyPyramid> energies; // null unless rendered
};

/** The pyramids of all open tracks, made once from their samples, and exact columns on demand; on a thread of
    its own, one piece of work at a time: columns that are waited for before pyramids, the track that is
    looked at before the others. Everything else belongs to the message thread.
*/
class WaveformLibrary : private juce::AsyncUpdater
{
public:
    WaveformLibrary();
    ~WaveformLibrary() override;

    /** Starts to read those of these tracks that are new, the first one first, and forgets all others. */
    void setTracks (const std::vector<TrackState>& tracks);

    /** Null for a track that is not among them. It may still be growing. */
    [[nodiscard]] std::shared_ptr<const TrackWaveform> find (const TrackState& track) const;

    /** Share of a track that has been read, 0..1. */
    [[nodiscard]] double readShare (const TrackState& track) const;

    [[nodiscard]] bool isReading() const { return busy.load (std::memory_order_relaxed); }

    /** Reads the columns of a request; the newest request takes the place of any before. The answer comes on
        the message thread, by onExactEnvelope; none comes for more than a minute of a track that is still
        being read.
    */
    void
    requestExact (const TrackState& track, const WaveEnvelopeRequest& request, const ChannelWeights& weights);

    std::function<void (const WaveExactEnvelope&)> onExactEnvelope;

    /** Reads a whole rendered track as these weights sound, when nothing else is to be done; the newest wish
        takes the place of any before. The answer comes on the message thread, by onProcessed.
    */
    void requestProcessed (const TrackState& track, const ChannelWeights& weights);

    /** The last answer for a track, when it was for these weights; null otherwise. */
    [[nodiscard]] std::shared_ptr<const EnvelopePyramid> findProcessed (std::uint32_t contentId,
                                                                        const ChannelWeights& weights) const;

    std::function<void (
        std::uint32_t contentId, const ChannelWeights&, std::shared_ptr<const EnvelopePyramid>)>
        onProcessed;

private:
    /** Samples that are read piece by piece. */
    struct Reading
    {
        std::uint32_t contentId = 0;
        std::shared_ptr<TrackSamples> samples;
        std::int64_t next = 0; // frame to be read; on the library's thread
    };

    struct Entry : Reading
    {
        std::shared_ptr<TrackWaveform> waveform;
        std::shared_ptr<ChannelPeaks> peaks; // null unless rendered; on the library's thread
    };

    struct ExactTask
    {
        std::shared_ptr<TrackSamples> samples;
        std::shared_ptr<const ChannelPeaks> peaks; // null: every sample is read
        WaveEnvelopeRequest request;
        ChannelWeights weights{};
    };

    /** A whole processed signal while it is being read. */
    struct ProcessedTask : Reading
    {
        ChannelWeights weights{};
        std::shared_ptr<EnvelopePyramid> pyramid;
    };

    [[nodiscard]] std::shared_ptr<Entry> entryOf (std::uint32_t contentId) const;
    void work();
    /** Reads the next piece of a signal of this length into `frames`; false when none is left or readable. */
    [[nodiscard]] bool readNext (Reading& reading, std::int64_t length);
    void readPiece (Entry& entry);
    void readPiece (const std::shared_ptr<ProcessedTask>& task);
    [[nodiscard]] std::optional<WaveExactEnvelope> readExact (const ExactTask& task);
    [[nodiscard]] std::optional<WaveExactEnvelope> readExtremes (const ExactTask& task);
    void handleAsyncUpdate() override;

    std::vector<std::shared_ptr<Entry>> known; // message thread
    std::map<std::uint32_t, std::shared_ptr<const ProcessedTask>>
        processedTracks; // by content; message thread

    std::mutex lock; // guards wanted, exactTask, processedTask, processedDone, answer, isEnding
    std::condition_variable wake;
    std::vector<std::shared_ptr<Entry>> wanted; // in the order in which they are read
    std::optional<ExactTask> exactTask;
    std::shared_ptr<ProcessedTask> processedTask, processedDone;
    std::optional<WaveExactEnvelope> answer;
    bool isEnding = false;

    std::atomic<bool> busy{ false };
    std::atomic<std::uint64_t> newestRequest{ 0 };
    std::vector<float> frames, signal; // of the piece just read; on the library's thread
    std::thread thread;

    JUCE_DECLARE_NON_COPYABLE (WaveformLibrary)
};

} // namespace tessivar
