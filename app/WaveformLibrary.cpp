#include "app/WaveformLibrary.h"

#include <algorithm>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::int64_t framesPerPiece = 65536; // of pyramids
constexpr std::int64_t framesPerBlock = 16384; // of exact columns

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

void pick (std::span<const float> interleaved, int numChannels, int channel, std::span<float> dest)
{
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
        const auto found = std::find_if (known.begin(),
                                         known.end(),
                                         [&] (const std::shared_ptr<Entry>& entry)
                                         { return entry->contentId == track.contentId; });

        if (found != known.end())
        {
            entries.push_back (*found);
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
            entry->waveform->energies = std::make_shared<ChannelEnergyPyramid> (track.lengthInSamples());

        entries.push_back (std::move (entry));
    }

    known = entries;
    std::erase_if (processedTracks,
                   [this] (const auto& each)
                   {
                       return std::none_of (known.begin(),
                                            known.end(),
                                            [&] (const std::shared_ptr<Entry>& entry)
                                            { return entry->contentId == each.first; });
                   });

    {
        const std::lock_guard guard (lock);
        wanted = std::move (entries);
        busy = true;
    }

    wake.notify_all();
}

std::shared_ptr<const TrackWaveform> WaveformLibrary::find (const TrackState& track) const
{
    for (const auto& entry : known)
        if (entry->contentId == track.contentId)
            return entry->waveform;

    return nullptr;
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
    {
        const std::lock_guard guard (lock);
        exactTask = ExactTask{ samplesOf (track), request, weights };
        newestRequest.fetch_add (1);
    }

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

    {
        const std::lock_guard guard (lock);
        processedTask = std::move (task);
    }

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

        if (processed != nullptr)
        {
            const auto goesOn = readProcessedPiece (*processed);
            const auto isWhole = processed->pyramid->isComplete();
            const std::lock_guard guard (lock);

            // A newer request stays for the next turn.
            if (processedTask == processed && (isWhole || ! goesOn))
            {
                processedTask.reset();

                if (isWhole)
                {
                    processedDone = processed;
                    triggerAsyncUpdate();
                }
            }

            continue;
        }

        if (entry != nullptr)
        {
            readPiece (*entry);
            continue;
        }

        if (auto ready = readExact (*task))
        {
            const std::lock_guard guard (lock);
            answer = std::move (ready);
            triggerAsyncUpdate();
        }
    }
}

void WaveformLibrary::readPiece (Entry& entry)
{
    const auto numChannels = entry.samples->numChannels();
    const auto length = std::min (entry.waveform->source->lengthInSamples(), entry.samples->lengthInFrames());
    const auto count = std::clamp<std::int64_t> (length - entry.next, 0, framesPerPiece);
    frames.resize (static_cast<std::size_t> (count * numChannels));

    if (count == 0 || ! entry.samples->readFrames (entry.next, frames))
    {
        // What can't be read is drawn as silence; playback and export report it.
        entry.next = entry.waveform->source->lengthInSamples();
        return;
    }

    if (entry.waveform->energies != nullptr)
        entry.waveform->energies->append (frames);

    if (numChannels == channelLayout::numUnrendered)
    {
        entry.waveform->source->append (frames);
    }
    else
    {
        std::vector<float> source (static_cast<std::size_t> (count));
        pick (frames, numChannels, channelLayout::source, source);
        entry.waveform->source->append (source);
    }

    entry.next += count;
}

bool WaveformLibrary::readProcessedPiece (ProcessedTask& task)
{
    const auto length = std::min (task.pyramid->lengthInSamples(), task.samples->lengthInFrames());
    const auto count =
        static_cast<std::size_t> (std::clamp<std::int64_t> (length - task.next, 0, framesPerPiece));
    frames.resize (count * static_cast<std::size_t> (channelLayout::numRendered));

    if (count == 0 || ! task.samples->readFrames (task.next, frames))
        return false;

    std::vector<float> signal (count);
    weigh (frames, task.weights, signal);
    task.pyramid->append (signal);
    task.next += static_cast<std::int64_t> (count);
    return true;
}

std::optional<WaveExactEnvelope> WaveformLibrary::readExact (const ExactTask& task)
{
    const auto& request = task.request;
    const auto serial = newestRequest.load();

    if (task.samples == nullptr || request.numColumns <= 0)
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
    std::vector<float> block, signal;

    for (auto start = first; start < last; start += framesPerBlock)
    {
        // A newer request has come, or the end.
        if (newestRequest.load() != serial)
            return std::nullopt;

        const auto count = static_cast<std::size_t> (std::min (framesPerBlock, last - start));
        block.resize (count * static_cast<std::size_t> (numChannels));
        signal.resize (count);

        if (! task.samples->readFrames (start, block))
            return std::nullopt;

        if (request.wantsSource)
        {
            pick (block, numChannels, isRendered ? channelLayout::source : 0, signal);
            source.add (start, signal);
        }

        if (request.wantsProcessed && isRendered)
        {
            weigh (block, task.weights, signal);
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
