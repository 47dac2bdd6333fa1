#include "jobs/ExportTracks.h"

#include "engine/SuppressionRendering.h"
#include "engine/numerics/WorkerPool.h"
#include "jobs/AudioFileChunks.h"
#include "jobs/MonoFileWriter.h"

#include "model/TemporaryStore.h"
#include "platform/DiskNames.h"
#include "platform/Folders.h"
#include "terms/ChannelLayout.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <deque>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <semaphore>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::int64_t blockLength = 16384;      // samples rendered and written at a time
constexpr std::int64_t pieceLength = 16 * 16384; // samples that one thread computes in one go
// Pieces of a file that wait for the one in front of them.
constexpr std::size_t longestQueue = 16;

void protectFilesOf (std::span<const TrackState> tracks, OutputRules& rules)
{
    for (const auto& track : tracks)
    {
        rules.protectSource (track.sourceInfo.file);
        rules.protectSamples (track.source.get());
        rules.protectSamples (track.rendered.get());
    }
}

/** Energies of a signal. */
struct Levels
{
    double source = 0.0;
    double output = 0.0;
    double removed = 0.0; // of source minus output

    Levels& operator+= (const Levels& other)
    {
        source += other.source;
        output += other.output;
        removed += other.removed;
        return *this;
    }

    /** Level of an energy over the source's, in dB; 0 for a silent source. */
    [[nodiscard]] double overSource (double energy) const
    {
        constexpr double lowest = -200.0;
        return source > 0.0 ? std::max (lowest, 10.0 * std::log10 (std::max (energy / source, 1.0e-20)))
                            : 0.0;
    }
};

/** A signal to write, read block by block; measures what was removed from it. */
class Signal
{
public:
    virtual ~Signal() = default;

    /** Fills dest with the output from start on. */
    [[nodiscard]] virtual juce::Result read (std::int64_t start, std::span<float> dest) = 0;

    Levels levels; // of what was read so far
};

/** Sums a value of every index in eight sums side by side, which run in vectors. */
template <typename Value>
double sumOf (std::size_t count, const Value& value)
{
    constexpr std::size_t numSums = 8;
    std::array<double, numSums> sums{};
    std::size_t i = 0;

    for (; i + numSums <= count; i += numSums)
        for (std::size_t lane = 0; lane < numSums; ++lane)
            sums[lane] += value (i + lane);

    for (; i < count; ++i)
        sums[0] += value (i);

    return std::accumulate (sums.begin(), sums.end(), 0.0);
}

double square (float value)
{
    return static_cast<double> (value) * static_cast<double> (value);
}

double energyOf (std::span<const float> samples)
{
    return sumOf (samples.size(), [&] (std::size_t i) { return square (samples[i]); });
}

float peakOf (std::span<const float> samples)
{
    float peak = 0.0f;

    for (const auto sample : samples)
        peak = std::max (peak, std::abs (sample));

    return peak;
}

juce::Result lostAudio (const TrackState& track, const std::shared_ptr<TrackSamples>& samples)
{
    const auto path = track.sourceInfo.file.getFullPathName();
    return juce::Result::fail (
        "the audio of " + (path.isNotEmpty() ? path : track.name) + " can't be read: "
        + (samples != nullptr ? samples->lastError() : juce::String ("it was never kept")));
}

/** Samples of one channel as they are, from firstSample on. */
class PlainSignal final : public Signal
{
public:
    PlainSignal (const TrackState& trackToWrite,
                 std::shared_ptr<TrackSamples> channel,
                 std::int64_t firstSample)
        : track (trackToWrite), samples (std::move (channel)), first (firstSample)
    {
    }

    juce::Result read (std::int64_t start, std::span<float> dest) override
    {
        if (samples == nullptr || ! samples->readFrames (first + start, dest))
            return lostAudio (track, samples);

        levels.output += energyOf (dest);
        levels.source = levels.output;
        return juce::Result::ok();
    }

private:
    const TrackState& track;
    std::shared_ptr<TrackSamples> samples;
    std::int64_t first;
};

/** Seven channels, weighted by the track's sounding knobs. */
class RenderedSignal final : public Signal
{
public:
    explicit RenderedSignal (const TrackState& trackToWrite)
        : track (trackToWrite), rule (SuppressionRule::forSetting (trackToWrite.soundingKnobs()))
    {
        const auto keepsAll = std::all_of (rule.channelWeight.begin(),
                                           rule.channelWeight.end(),
                                           [] (float weight) { return weight == 1.0f; });

        // Rounding keeps the sum of the channels from being exactly the source.
        isSource = keepsAll || rule.back == 1.0f;
    }

    juce::Result read (std::int64_t start, std::span<float> dest) override
    {
        const auto n = dest.size();
        room.resize (channelLayout::numRendered * n);
        ChannelPlanes channels{};

        // What has no weight is not read.
        for (std::size_t c = 0; c < channels.size(); ++c)
            if (c == channelLayout::source || (! isSource && rule.channelWeight[c] != 0.0f))
                channels[c] = room.data() + c * n;

        if (track.rendered == nullptr || ! track.rendered->readPlanes (start, n, channels))
            return lostAudio (track, track.rendered);

        const std::span<const float> source (channels[channelLayout::source], n);

        if (isSource)
            std::copy (source.begin(), source.end(), dest.begin());
        else
            renderSuppression (dest, channels, rule);

        levels.source += energyOf (source);
        levels.removed += sumOf (n,
                                 [&] (std::size_t i)
                                 {
                                     const auto removed =
                                         static_cast<double> (source[i]) - static_cast<double> (dest[i]);
                                     return removed * removed;
                                 });
        levels.output += energyOf (dest);

        // Summed in another order, the same samples would look as if something had been removed.
        if (isSource)
            levels.source = levels.output;

        return juce::Result::ok();
    }

private:
    const TrackState& track;
    const SuppressionRule rule;
    std::vector<float> room; // of the channels
    bool isSource = false;
};

/** A file to write. */
struct FileTask
{
    juce::File file;
    MonoFilePlan plan;
    std::function<std::unique_ptr<Signal>()> makeSignal; // its memory is taken while the file is written
    juce::StringArray notes;                             // told once it is written; empty ones aren't
};

/** The output of one track, or its source as it is when it has none. */
FileTask taskFor (const TrackState& track, const juce::File& file, ExportFileType type)
{
    auto metadata = carryMetadata (track.sourceInfo, type);
    FileTask task;
    task.file = file;
    task.plan.type = type;
    task.plan.format =
        exportSampleFormatFor (track.sourceInfo.bitsPerSample, track.sourceInfo.isFloatingPoint, type);
    task.plan.sampleRate = track.sampleRate();
    task.plan.lengthInSamples = track.lengthInSamples();
    task.plan.metadata = std::move (metadata.chunks);
    task.notes.add (metadata.note);
    task.makeSignal = [&track]() -> std::unique_ptr<Signal>
    {
        if (track.hasProcessedOutput())
            return std::make_unique<RenderedSignal> (track);

        return std::make_unique<PlainSignal> (track, track.source, 0);
    };

    return task;
}

/** Writes one file, whose pieces several threads may compute. */
class FileExport
{
public:
    FileExport (FileTask& fileTask, const ExportOptions& exportOptions, const WorkControl& workControl)
        : task (fileTask), options (exportOptions), control (workControl),
          numPieces (static_cast<std::size_t> (
              std::max<std::int64_t> (1, (task.plan.lengthInSamples + pieceLength - 1) / pieceLength)))
    {
        result.file = task.file;
        result.format = task.plan.format;
    }

    /** Refuses what can't be written at all. */
    void claim (const juce::String& folderError, OutputRules& rules)
    {
        if (folderError.isNotEmpty())
            fail ("Failed to open file.", folderError);
        else if (const auto refusal = rules.claim (task.file, options.overwrite);
                 refusal != OutputRefusal::none)
            fail (refusal == OutputRefusal::exists ? "File already exists - Not written."
                                                   : "Not written: " + reasonOf (refusal) + ".",
                  task.file.getFullPathName() + ": " + reasonOf (refusal));
        else if (const auto possible = task.plan.check(); possible.failed())
            fail ("Failed to create file.", task.file.getFullPathName() + ": " + possible.getErrorMessage());
    }

    /** Pieces that nobody has taken yet; takePiece() and this by one thread at a time. */
    [[nodiscard]] std::size_t numLeft() const
    {
        const auto isFull = nextPiece >= numWritten + longestQueue;
        return isFull || hasEnded ? 0 : numPieces - nextPiece;
    }

    [[nodiscard]] bool isBegun() const { return nextPiece > 0; }
    [[nodiscard]] std::size_t takePiece() { return nextPiece++; }

    /** Computes a piece and writes it when those in front of it are written; otherwise whoever writes them
        does. True when the file has all of its samples: it is to be finished then. */
    bool write (std::size_t index)
    {
        if (index == 0)
            open();

        auto piece = compute (index);
        std::unique_lock lock (writingLock);
        waiting.emplace (index, std::move (piece));

        if (std::exchange (isWriting, true))
            return false;

        for (auto next = waiting.extract (numWritten); ! next.empty(); next = waiting.extract (numWritten))
        {
            lock.unlock();
            append (next.mapped());
            lock.lock();
            ++numWritten;
        }

        isWriting = false;
        return numWritten == numPieces && ! hasEnded;
    }

    /** Makes the file durable, checks it and gives it its name. Mostly waits for the disk. */
    void finish()
    {
        auto finished = writer->finish();

        if (finished.wasOk())
            finished = writer->commit (options.overwrite ? AtomicFile::IfTargetExists::replace
                                                         : AtomicFile::IfTargetExists::fail);

        if (finished.failed())
        {
            fail ("Failed to write file.", finished.getErrorMessage());
            return;
        }

        result.outcome = Outcome::ok();
        result.removedDb = levels.overSource (levels.output);

        if (levels.source > 0.0)
            result.removedPartDb = levels.overSource (levels.removed);

        result.bytes = task.plan.fileBytes();
        result.clippedSamples = writer->clippedSamples();
        writer.reset();

        if (result.format.note.isNotEmpty())
            remark (result.format.note);

        if (result.clippedSamples > 0)
            remark (juce::String (result.clippedSamples) + " samples clipped, peak "
                    + juce::String (juce::Decibels::gainToDecibels (result.peak), 2) + " dBFS.");

        for (const auto& note : task.notes)
            if (note.isNotEmpty())
                remark (note);
    }

    TrackExport result; // stopped until the file is written or failed
    std::vector<ExportRemark> remarks;

private:
    struct Piece
    {
        std::vector<float> samples;
        Levels levels;
        float peak = 0.0f;
        juce::Result read = juce::Result::ok();
    };

    void open()
    {
        if (control.stopRequested())
        {
            hasEnded = true;
            return;
        }

        if (task.file.existsAsFile())
            remark ("File already exists - Overwritting.");

        writer = std::make_unique<MonoFileWriter> (
            task.file, task.plan, options.calls != nullptr ? *options.calls : FileSystemCalls::system());

        if (const auto opened = writer->openFile(); opened.failed())
            fail ("Failed to open file.", opened.getErrorMessage());
        else if (const auto created = writer->createWriter(); created.failed())
            fail ("Failed to create file.", created.getErrorMessage());
    }

    /** The samples of a piece; incomplete when the file has ended meanwhile. */
    [[nodiscard]] Piece compute (std::size_t index)
    {
        const auto first = static_cast<std::int64_t> (index) * pieceLength;
        const auto length = std::min (pieceLength, task.plan.lengthInSamples - first);
        const auto signal = task.makeSignal();
        Piece piece;
        piece.samples.resize (static_cast<std::size_t> (length));

        for (std::int64_t start = 0; start < length && piece.read.wasOk(); start += blockLength)
        {
            if (control.stopRequested())
                hasEnded = true;

            if (hasEnded)
                break;

            const auto count = std::min (blockLength, length - start);
            const auto block =
                std::span (piece.samples)
                    .subspan (static_cast<std::size_t> (start), static_cast<std::size_t> (count));
            piece.read = signal->read (first + start, block);
            piece.peak = std::max (piece.peak, peakOf (block));
            control.progress (static_cast<double> (count));
        }

        piece.levels = signal->levels;
        return piece;
    }

    void append (Piece& piece)
    {
        if (piece.read.failed() && ! hasEnded)
            fail ("Failed to write file.", piece.read.getErrorMessage());

        const std::span samples (piece.samples);

        for (std::size_t start = 0; start < samples.size() && ! hasEnded; start += blockLength)
        {
            const auto count = std::min<std::size_t> (blockLength, samples.size() - start);

            if (const auto written = writer->write (samples.subspan (start, count)); written.failed())
                fail ("Failed to write file.", written.getErrorMessage());
        }

        levels += piece.levels;
        result.peak = std::max (result.peak, piece.peak);
    }

    void remark (const juce::String& text) { remarks.push_back ({ task.file, text }); }

    void fail (const juce::String& text, const juce::String& reason)
    {
        remark (text);
        result.outcome = Outcome::failed (reason.toStdString());
        hasEnded = true;
        writer.reset();
    }

    FileTask& task;
    const ExportOptions& options;
    const WorkControl control; // its progress takes samples
    const std::size_t numPieces;
    std::size_t nextPiece = 0;
    std::atomic<bool> hasEnded{ false }; // stopped or failed

    std::mutex
        writingLock; // guards waiting and isWriting; writer, levels and result belong to who is writing
    std::map<std::size_t, Piece> waiting;
    bool isWriting = false;
    std::atomic<std::size_t> numWritten{ 0 };
    std::unique_ptr<MonoFileWriter> writer;
    Levels levels;
};

/** One of those who may compute, for as long as it lives. */
class Place
{
public:
    explicit Place (std::counting_semaphore<>& placesToUse) : places (placesToUse) { places.acquire(); }
    ~Place() { places.release(); }

    Place (const Place&) = delete;
    Place& operator= (const Place&) = delete;

private:
    std::counting_semaphore<>& places;
};

/** The file that a thread goes on with: its own, whose signal goes on where it left off, then one that nobody
    has begun, and at last the one with the most left. Null: none. */
FileExport* choose (std::deque<FileExport>& files, FileExport* own)
{
    if (own != nullptr && own->numLeft() > 0)
        return own;

    FileExport* most = nullptr;

    for (auto& file : files)
    {
        if (file.numLeft() > 0 && ! file.isBegun())
            return &file;

        if (file.numLeft() > (most != nullptr ? most->numLeft() : 0))
            most = &file;
    }

    return most;
}

/** Writes files, several at a time, and adds to the report in their order. options.numThreads threads compute
    while others wait for the disk: a flush holds nobody up.
*/
std::vector<TrackExport> writeFiles (std::vector<FileTask> tasks,
                                     std::span<const TrackState> tracks,
                                     const ExportOptions& options,
                                     const WorkControl& control,
                                     ExportReport& report)
{
    OutputRules ownRules;
    auto& rules = options.rules != nullptr ? *options.rules : ownRules;
    protectFilesOf (tracks, rules);
    juce::String folderError;

    if (const auto created = makeFolder (options.folder); created.failed())
        folderError = options.folder.getFullPathName() + " can't be made: " + created.getErrorMessage();

    double totalSamples = 1.0;

    for (const auto& task : tasks)
        totalSamples += static_cast<double> (task.plan.lengthInSamples);

    std::atomic<bool> wasStopped{ false };
    std::mutex progressLock; // guards samplesDone, and that one thread at a time tells it
    double samplesDone = 0.0;
    const WorkControl controlOfFiles{ [&]
                                      {
                                          if (! wasStopped && control.stopRequested())
                                              wasStopped = true;

                                          return wasStopped.load();
                                      },
                                      [&] (double samples)
                                      {
                                          const std::lock_guard lock (progressLock);
                                          samplesDone += samples;
                                          control.progress (samplesDone / totalSamples);
                                      } };
    std::deque<FileExport> files;

    for (auto& task : tasks)
        files.emplace_back (task, options, controlOfFiles).claim (folderError, rules);

    const auto numAtWork = std::clamp<std::ptrdiff_t> (options.numThreads, 1, 256);
    std::counting_semaphore<> places (numAtWork);
    std::mutex choiceLock; // guards what pieces of the files are taken
    WorkerPool pool (
        static_cast<int> (numAtWork + std::min<std::ptrdiff_t> (numAtWork, std::ssize (files) - 1)));
    pool.onEachWorker (
        [&] (int)
        {
            FileExport* file = nullptr;

            for (auto isLeft = true; isLeft;)
            {
                auto isComplete = false;
                {
                    const Place place (places);
                    std::size_t piece = 0;
                    {
                        const std::lock_guard lock (choiceLock);
                        file = choose (files, file);

                        if (file != nullptr)
                            piece = file->takePiece();
                    }

                    isLeft = file != nullptr;
                    isComplete = isLeft && file->write (piece);
                }

                if (isComplete)
                    file->finish();
            }
        });

    if (! wasStopped)
        control.progress (1.0);

    std::vector<TrackExport> results;

    for (auto& file : files)
    {
        auto& result = results.emplace_back (std::move (file.result));

        // As if files were written one by one: nothing is told of those behind a stop.
        if (report.outcome.wasStopped() && ! result.isWritten())
        {
            result.outcome = Outcome::stopped();
            continue;
        }

        std::move (file.remarks.begin(), file.remarks.end(), std::back_inserter (report.remarks));

        if (result.isWritten() || report.outcome.wasStopped())
            continue;

        if (! result.outcome.wasStopped())
            report.errors.add (result.outcome.reason);

        report.outcome = result.outcome;
    }

    return results;
}
} // namespace

juce::StringArray ExportReport::log() const
{
    juce::StringArray lines;

    for (const auto& remark : remarks)
        lines.add (remark.file.getFileName() + " - " + remark.text);

    return lines;
}

juce::StringArray ExportReport::remarksOn (const juce::File& file) const
{
    juce::StringArray texts;

    for (const auto& remark : remarks)
        if (remark.file == file)
            texts.add (remark.text);

    return texts;
}

ExportReport
exportTracks (std::span<const TrackState> tracks, const ExportOptions& options, const WorkControl& control)
{
    return exportTracks (tracks, planExport (tracks, options), options, control);
}

ExportReport exportTracks (std::span<const TrackState> tracks,
                           std::span<const PlannedFile> files,
                           const ExportOptions& options,
                           const WorkControl& control)
{
    ExportReport report;
    const auto type = exportFileTypeFor (options.extension);
    std::vector<FileTask> tasks;

    for (std::size_t i = 0; i < tracks.size(); ++i)
    {
        tasks.push_back (taskFor (tracks[i], files[i].file, type));
        tasks.back().notes.add (files[i].note);
    }

    report.tracks = writeFiles (std::move (tasks), tracks, options, control, report);
    return report;
}

ExportReport exportTrackTo (const juce::File& target,
                            const TrackState& track,
                            const ExportOptions& options,
                            const WorkControl& control)
{
    ExportReport report;
    auto ownOptions = options;
    ownOptions.folder = target.getParentDirectory();
    const auto file = target.getFileExtension().isEmpty() ? target.withFileExtension (".wav") : target;
    std::vector<FileTask> tasks{ taskFor (track, file, exportFileTypeFor (file.getFileExtension())) };
    report.tracks = writeFiles (std::move (tasks), { &track, 1 }, ownOptions, control, report);
    return report;
}

ExportReport exportComponents (std::span<const TrackState> tracks,
                               const ExportOptions& options,
                               const WorkControl& control)
{
    ExportReport report;
    const auto files = planComponents (tracks, options);
    std::vector<FileTask> tasks;

    for (const auto& track : tracks)
    {
        if (track.components == nullptr)
            continue;

        // Ten planes one after the other, which is one long channel.
        const auto planes = std::make_shared<StoreSamples> (track.components, 1);

        for (int slot = 0; slot < channelLayout::numComponents; ++slot)
        {
            FileTask task;
            task.file = files[tasks.size()];
            task.plan.format = { 32, true, {} };
            task.plan.sampleRate = track.sampleRate();
            task.plan.lengthInSamples = track.lengthInSamples();
            task.makeSignal = [&track, planes, slot]
            { return std::make_unique<PlainSignal> (track, planes, slot * track.lengthInSamples()); };
            tasks.push_back (std::move (task));
        }
    }

    for (const auto& written : writeFiles (std::move (tasks), tracks, options, control, report))
        if (written.isWritten())
            report.componentFiles.push_back (written.file);

    return report;
}

} // namespace tessivar
