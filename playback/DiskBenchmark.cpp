#include "playback/DiskBenchmark.h"

#include "platform/FileSystemCalls.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace tessivar
{

namespace
{
constexpr std::size_t bytesPerFrame = 7 * sizeof (float);
constexpr std::int64_t smallestFile = 24 << 20;
constexpr std::size_t pieceBytes = 1 << 20;
constexpr std::array<int, 3> piecesToTry{ 8192, 16384, 32768 }; // frames

using Clock = std::chrono::steady_clock;

double secondsSince (Clock::time_point start)
{
    return std::chrono::duration<double> (Clock::now() - start).count();
}

/** One run of the benchmark. */
class Run
{
public:
    Run (const juce::File& folderToUse, const DiskBenchmark::Options& o, const WorkControl& c)
        : folder (folderToUse), options (o), control (c),
          size (std::max (o.fileBytes, smallestFile) / static_cast<std::int64_t> (pieceBytes)
                * static_cast<std::int64_t> (pieceBytes)),
          buffer (pieceBytes)
    {
    }

    juce::Result all (DiskBenchmark& result)
    {
        if (! succeeded (file.open (folder, Opening::unnamed)) || ! write (result))
            return failure();

        if (! readSequentially (result))
            return failure();

        for (const auto frames : piecesToTry)
            if (! readStreams (frames, result))
                return failure();

        control.progress (1.0);
        return juce::Result::ok();
    }

private:
    juce::Result failure() const
    {
        const auto reason = wasStopped ? juce::String ("stopped") : error.text();
        return juce::Result::fail ("disk benchmark in " + folder.getFullPathName() + ": " + reason);
    }

    bool succeeded (const SystemError& answer)
    {
        error = answer;
        return ! error.failed();
    }

    bool isRead (std::int64_t offset, std::size_t numBytes)
    {
        const auto found = FileSystemCalls::system().readAll (
            file.handle(), static_cast<std::uint64_t> (offset), buffer.data(), numBytes);
        return succeeded (found.error) && found.numBytes == numBytes;
    }

    bool isWritten (std::int64_t offset)
    {
        return succeeded (
            FileSystemCalls::system()
                .writeAll (file.handle(), static_cast<std::uint64_t> (offset), buffer.data(), buffer.size())
                .error);
    }

    /** Writes to disk and drops the system's cache, which would keep unwritten pages. */
    bool settle()
    {
        const auto isFlushed = succeeded (FileSystemCalls::system().flush (file.handle()));
        dropCached (file.handle());
        return isFlushed;
    }

    bool shouldContinue()
    {
        wasStopped = control.stopRequested();
        return ! wasStopped;
    }

    bool write (DiskBenchmark& result)
    {
        // Noise, so that a compressing file system gains nothing.
        juce::Random random (1);
        const auto start = Clock::now();

        for (std::int64_t done = 0; done < size; done += static_cast<std::int64_t> (pieceBytes))
        {
            random.fillBitsRandomly (buffer.data(), buffer.size());

            if (! shouldContinue() || ! isWritten (done))
                return false;

            control.progress (0.4 * static_cast<double> (done) / static_cast<double> (size));
        }

        if (! settle())
            return false;

        result.writeBytesPerSecond = static_cast<double> (size) / secondsSince (start);
        return true;
    }

    bool readSequentially (DiskBenchmark& result)
    {
        const auto start = Clock::now();
        std::int64_t done = 0;

        while (done < size && secondsSince (start) < options.secondsPerMeasurement)
        {
            if (! shouldContinue() || ! isRead (done, buffer.size()))
                return false;

            done += static_cast<std::int64_t> (pieceBytes);
        }

        result.sequentialBytesPerSecond = static_cast<double> (done) / secondsSince (start);
        control.progress (0.55);
        return true;
    }

    bool readStreams (int framesPerRead, DiskBenchmark& result)
    {
        const auto piece =
            static_cast<std::int64_t> (framesPerRead) * static_cast<std::int64_t> (bytesPerFrame);
        const auto perStream = size / DiskBenchmark::numStreams;
        DiskBenchmark::Streams streams;
        streams.framesPerRead = framesPerRead;
        std::int64_t total = 0;

        if (! settle())
            return false;

        const auto start = Clock::now();

        for (std::int64_t at = 0;
             at + piece <= perStream && secondsSince (start) < options.secondsPerMeasurement;
             at += piece)
        {
            for (int stream = 0; stream < DiskBenchmark::numStreams; ++stream)
            {
                const auto before = Clock::now();

                if (! shouldContinue()
                    || ! isRead (stream * perStream + at, static_cast<std::size_t> (piece)))
                    return false;

                streams.longestRead = std::max (streams.longestRead, secondsSince (before));
                total += piece;
            }
        }

        streams.bytesPerSecond = static_cast<double> (total) / secondsSince (start);
        result.streams.push_back (streams);
        control.progress (0.55 + 0.15 * static_cast<double> (result.streams.size()));
        return true;
    }

    const juce::File folder;
    const DiskBenchmark::Options options;
    const WorkControl& control;
    OpenFile file;
    const std::int64_t size;
    std::vector<std::byte> buffer;
    bool wasStopped = false;
    SystemError error; // the last one
};
} // namespace

juce::Result DiskBenchmark::run (const juce::File& folder,
                                 const Options& options,
                                 const WorkControl& control,
                                 DiskBenchmark& result)
{
    DiskBenchmark measured;

    if (auto done = Run (folder, options, control).all (measured); done.failed())
        return done;

    measured.propose (options.sampleRate);
    result = std::move (measured);
    return juce::Result::ok();
}

void DiskBenchmark::propose (double sampleRate)
{
    // The rest of the disk's time is for stalls and for everybody else on the machine.
    constexpr double usableShare = 0.8;
    constexpr double goodEnough = 0.9;

    neededBytesPerSecond = sampleRate * static_cast<double> (bytesPerFrame) * numStreams;
    double best = 0.0;

    for (const auto& s : streams)
        best = std::max (best, s.bytesPerSecond);

    keepsUp = neededBytesPerSecond < usableShare * best;
    proposal = {};

    // Small pieces let playback start sooner, as long as they cost no speed.
    for (const auto& s : streams)
    {
        if (s.bytesPerSecond < goodEnough * best)
            continue;

        const auto secondsPerRound =
            numStreams * s.framesPerRead * static_cast<double> (bytesPerFrame) / s.bytesPerSecond;
        proposal.framesPerRead = s.framesPerRead;

        // Twice the worst seen, a round of all tracks to catch up, and half a second for the unseen.
        proposal.seconds = 0.5 + 2.0 * (s.longestRead + secondsPerRound) + 2.0 * s.framesPerRead / sampleRate;
        break;
    }

    proposal.seconds = std::max (proposal.seconds, 2.0);
    proposal = proposal.sanitised();
}

} // namespace tessivar
