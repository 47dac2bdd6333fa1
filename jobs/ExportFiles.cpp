#include "jobs/ExportFiles.h"

#include "engine/numerics/WorkerPool.h"
#include "engine/numerics/simd/SignalKernels.h"
#include "platform/Folders.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <iterator>
#include <map>
#include <mutex>
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

/** Writes one file, whose pieces several threads may compute. */
class FileExport
{
public:
    FileExport (ExportTask& fileTask, const ExportOptions& exportOptions, const WorkControl& workControl)
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
            remark (juce::String (result.clippedSamples)
                    + (result.clippedSamples == 1 ? " sample" : " samples") + " clipped, peak "
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
        ExportLevels levels;
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
            piece.peak = std::max (piece.peak, kernels::signalLevel (block.data(), block.size()).peak);
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

    ExportTask& task;
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
    ExportLevels levels;
};

/** How many may compute at once. The standard library's semaphore won't do: where the system wakes by no
    address, its threads can sleep through a place that comes free.
*/
class Places
{
public:
    explicit Places (std::ptrdiff_t count) : numFree (count) {}

    void take()
    {
        std::unique_lock guard (lock);
        cameFree.wait (guard, [this] { return numFree > 0; });
        --numFree;
    }

    void giveBack()
    {
        {
            const std::lock_guard guard (lock);
            ++numFree;
        }

        cameFree.notify_one();
    }

private:
    std::mutex lock; // guards numFree
    std::condition_variable cameFree;
    std::ptrdiff_t numFree;
};

/** One of those who may compute, for as long as it lives. */
class Place
{
public:
    explicit Place (Places& placesToUse) : places (placesToUse) { places.take(); }
    ~Place() { places.giveBack(); }

    Place (const Place&) = delete;
    Place& operator= (const Place&) = delete;

private:
    Places& places;
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
} // namespace

std::vector<TrackExport> writeFiles (std::vector<ExportTask> tasks,
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
    else if (! options.folder.hasWriteAccess())
        folderError = options.folder.getFullPathName() + " can't be written to";

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
    Places places (numAtWork);
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
            report.errors.addIfNotAlreadyThere (result.outcome.reason);

        report.outcome = result.outcome;
    }

    return results;
}

} // namespace tessivar
