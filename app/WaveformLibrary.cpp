#include "app/WaveformLibrary.h"

#include "app/JobRunner.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::int64_t framesPerPiece = 65536; // of pyramids
constexpr std::int64_t framesPerBlock = 16384; // of exact columns
constexpr double longestRead = 60.0 * 48000.0; // frames, all of which are read for exact columns

std::shared_ptr<TrackSamples> samplesOf (const TrackState& track)
{
    return track.rendered != nullptr ? track.rendered : track.source;
}

/** Mixes the channels of interleaved frames, weighted, to one signal. */
void weigh (std::span<const float> interleaved, const ChannelWeights& weights, std::span<float> dest)
{
    constexpr auto numChannels = std::tuple_size_v<ChannelWeights>;

    for (std::size_t i = 0; i < dest.size(); ++i)
    {
        const auto* frame = &interleaved[i * numChannels];
        auto sum = 0.0f;

        for (std::size_t c = 0; c < numChannels; ++c)
            sum += weights[c] * frame[c];

        dest[i] = sum;
    }
}

/** The track's own sound of interleaved frames, rendered or not. */
void pickSource (std::span<const float> interleaved, int numChannels, std::span<float> dest)
{
    const auto channel = numChannels == channelLayout::numRendered ? channelLayout::source : 0;

    for (std::size_t i = 0; i < dest.size(); ++i)
        dest[i] =
            interleaved[i * static_cast<std::size_t> (numChannels) + static_cast<std::size_t> (channel)];
}
} // namespace

WaveformLibrary::WaveformLibrary() : thread ([this] { work(); }) {}

WaveformLibrary::~WaveformLibrary()
{
    cancelPendingUpdate();

    {
        const std::lock_guard guard (lock);
        isEnding = true;
        newestRequest.fetch_add (1);
    }

    wake.notify_all();
    thread.join();
}

void WaveformLibrary::setTracks (const std::vector<TrackState>& tracks)
{
    std::vector<std::shared_ptr<Entry>> entries;

    for (const auto& track : tracks)
    {
        if (const auto found = entryOf (track.contentId))
        {
            entries.push_back (found);
            continue;
        }

        if (samplesOf (track) == nullptr)
            continue;

        auto entry = std::make_shared<Entry>();
        entry->contentId = track.contentId;
        entry->samples = samplesOf (track);
        entry->waveform = std::make_shared<TrackWaveform>();
        entry->waveform->source = std::make_shared<EnvelopePyramid> (track.lengthInSamples());

        if (track.rendered != nullptr)
        {
            entry->waveform->energies = std::make_shared<ChannelEnergyPyramid> (track.lengthInSamples());
            entry->peaks = std::make_shared<ChannelPeaks> (track.lengthInSamples());
        }

        entries.push_back (std::move (entry));
    }

    known = entries;
    std::erase_if (processedTracks, [this] (const auto& each) { return entryOf (each.first) == nullptr; });

    const std::lock_guard guard (lock);
    wanted = std::move (entries);
    busy = true;
    wake.notify_all();
}

std::shared_ptr<WaveformLibrary::Entry> WaveformLibrary::entryOf (std::uint32_t contentId) const
{
    const auto found = std::find_if (
        known.begin(), known.end(), [&] (const auto& entry) { return entry->contentId == contentId; });
    return found != known.end() ? *found : nullptr;
}

std::shared_ptr<const TrackWaveform> WaveformLibrary::find (const TrackState& track) const
{
    const auto entry = entryOf (track.contentId);
    return entry != nullptr ? entry->waveform : nullptr;
}

double WaveformLibrary::readShare (const TrackState& track) const
{
    const auto waveform = find (track);

    if (waveform == nullptr || waveform->source->lengthInSamples() == 0)
        return 1.0;

    return static_cast<double> (waveform->source->readySamples())
           / static_cast<double> (waveform->source->lengthInSamples());
}

void WaveformLibrary::requestExact (const TrackState& track,
                                    const WaveEnvelopeRequest& request,
                                    const ChannelWeights& weights)
{
    const auto entry = entryOf (track.contentId);
    const std::lock_guard guard (lock);
    exactTask = ExactTask{ samplesOf (track), entry != nullptr ? entry->peaks : nullptr, request, weights };
    newestRequest.fetch_add (1);
    wake.notify_all();
}

void WaveformLibrary::requestProcessed (const TrackState& track, const ChannelWeights& weights)
{
    if (track.rendered == nullptr || track.rendered->numChannels() != channelLayout::numRendered)
        return;

    auto task = std::make_shared<ProcessedTask>();
    task->contentId = track.contentId;
    task->samples = track.rendered;
    task->weights = weights;
    task->pyramid = std::make_shared<EnvelopePyramid> (track.lengthInSamples());

    const std::lock_guard guard (lock);
    processedTask = std::move (task);
    wake.notify_all();
}

std::shared_ptr<const EnvelopePyramid> WaveformLibrary::findProcessed (std::uint32_t contentId,
                                                                       const ChannelWeights& weights) const
{
    const auto found = processedTracks.find (contentId);
    return found != processedTracks.end() && found->second->weights == weights ? found->second->pyramid
                                                                               : nullptr;
}

void WaveformLibrary::handleAsyncUpdate()
{
    std::optional<WaveExactEnvelope> ready;
    std::shared_ptr<ProcessedTask> done;

    {
        const std::lock_guard guard (lock);
        ready = std::exchange (answer, std::nullopt);
        done = std::exchange (processedDone, nullptr);
    }

    if (ready && onExactEnvelope)
        onExactEnvelope (*ready);

    if (done == nullptr)
        return;

    done->samples = nullptr;
    processedTracks[done->contentId] = done;

    if (onProcessed)
        onProcessed (done->contentId, done->weights, done->pyramid);
}

void WaveformLibrary::work()
{
    for (;;)
    {
        std::optional<ExactTask> task;
        std::shared_ptr<Entry> entry;
        std::shared_ptr<ProcessedTask> processed;

        {
            std::unique_lock guard (lock);
            const auto unfinished = [this]
            {
                return std::find_if (wanted.begin(),
                                     wanted.end(),
                                     [] (const std::shared_ptr<Entry>& each)
                                     { return each->next < each->waveform->source->lengthInSamples(); });
            };
            const auto hasWork = [&]
            {
                busy = unfinished() != wanted.end();
                return isEnding || exactTask || processedTask || busy;
            };
            wake.wait (guard, hasWork);

            if (isEnding)
                return;

            task = std::exchange (exactTask, std::nullopt);

            if (! task && unfinished() != wanted.end())
                entry = *unfinished();
            else if (! task)
                processed = processedTask;
        }

        const auto read = [&]
        {
            if (processed != nullptr)
            {
                readPiece (processed);
            }
            else if (entry != nullptr)
            {
                readPiece (*entry);
            }
            else if (auto ready = readExact (*task))
            {
                const std::lock_guard guard (lock);
                answer = std::move (ready);
                triggerAsyncUpdate();
            }
        };

        if (! guarded (std::ref (read)).isOk())
        {
            std::unique_lock guard (lock);

            if (! exactTask)
                exactTask = std::move (task);

            wake.wait_for (guard, pauseWithoutMemory, [this] { return isEnding; });
        }
    }
}

bool WaveformLibrary::readNext (Reading& reading, std::int64_t length)
{
    const auto left = std::min (length, reading.samples->lengthInFrames()) - reading.next;
    const auto count = std::clamp<std::int64_t> (left, 0, framesPerPiece);
    frames.resize (static_cast<std::size_t> (count * reading.samples->numChannels()));
    signal.resize (static_cast<std::size_t> (count));

    if (count == 0 || ! reading.samples->readFrames (reading.next, frames))
        return false;

    reading.next += count;
    return true;
}

void WaveformLibrary::readPiece (Entry& entry)
{
    const auto& [source, energies] = *entry.waveform;

    if (! readNext (entry, source->lengthInSamples()))
    {
        // What can't be read is drawn as silence; playback and export report it.
        entry.next = source->lengthInSamples();
        return;
    }

    if (energies != nullptr)
    {
        energies->append (frames);
        entry.peaks->append (frames);
    }

    pickSource (frames, entry.samples->numChannels(), signal);
    source->append (signal);
}

void WaveformLibrary::readPiece (const std::shared_ptr<ProcessedTask>& task)
{
    const auto goesOn = readNext (*task, task->pyramid->lengthInSamples());

    if (goesOn)
    {
        weigh (frames, task->weights, signal);
        task->pyramid->append (signal);
    }

    const auto isWhole = task->pyramid->isComplete();
    const std::lock_guard guard (lock);

    // A newer request stays for the next turn.
    if (processedTask != task || (goesOn && ! isWhole))
        return;

    processedTask.reset();

    if (isWhole)
    {
        processedDone = task;
        triggerAsyncUpdate();
    }
}

std::optional<WaveExactEnvelope> WaveformLibrary::readExtremes (const ExactTask& task)
{
    const auto serial = newestRequest.load();
    const auto read = [&] (std::int64_t start, std::span<float> dest)
    {
        frames.resize (dest.size() * channelLayout::numRendered);

        // A newer request has come, or the end.
        if (newestRequest.load() != serial || ! task.samples->readFrames (start, frames))
            return false;

        weigh (frames, task.weights, dest);
        return true;
    };
    auto columns = task.peaks->findColumns (task.request, task.weights, read);

    if (! columns)
        return std::nullopt;

    return WaveExactEnvelope{ task.request.serial, task.request.firstColumn, {}, std::move (*columns) };
}

std::optional<WaveExactEnvelope> WaveformLibrary::readExact (const ExactTask& task)
{
    const auto& request = task.request;
    const auto serial = newestRequest.load();

    if (task.samples == nullptr || request.numColumns <= 0)
        return std::nullopt;

    if (! request.wantsSource && task.peaks != nullptr && task.peaks->isComplete())
        return readExtremes (task);

    if (request.numColumns * request.samplesPerColumn > longestRead)
        return std::nullopt;

    const auto numChannels = task.samples->numChannels();
    const auto isRendered = numChannels == channelLayout::numRendered;
    const auto first =
        std::max<std::int64_t> (0, waveColumnSamples (request.firstColumn, request.samplesPerColumn).from);
    const auto last = std::min (
        task.samples->lengthInFrames(),
        waveColumnSamples (request.firstColumn + request.numColumns - 1, request.samplesPerColumn).to);
    WaveColumnBuilder source (request.firstColumn, request.samplesPerColumn, request.numColumns);
    WaveColumnBuilder processed (request.firstColumn, request.samplesPerColumn, request.numColumns);
    for (auto start = first; start < last; start += framesPerBlock)
    {
        // A newer request has come, or the end.
        if (newestRequest.load() != serial)
            return std::nullopt;

        const auto count = static_cast<std::size_t> (std::min (framesPerBlock, last - start));
        frames.resize (count * static_cast<std::size_t> (numChannels));
        signal.resize (count);

        if (! task.samples->readFrames (start, frames))
            return std::nullopt;

        if (request.wantsSource)
        {
            pickSource (frames, numChannels, signal);
            source.add (start, signal);
        }

        if (request.wantsProcessed && isRendered)
        {
            weigh (frames, task.weights, signal);
            processed.add (start, signal);
        }
    }

    WaveExactEnvelope result;
    result.serial = request.serial;
    result.firstColumn = request.firstColumn;

    if (request.wantsSource)
        result.source = source.columns();

    if (request.wantsProcessed && isRendered)
        result.processed = processed.columns();

    return result;
}

} // namespace tessivar
