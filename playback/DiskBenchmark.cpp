#include "playback/DiskBenchmark.h"

#include "model/AtomicFile.h"
#include "model/DiskNames.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>

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

/** An unnamed file, gone when it is closed. */
class ScratchFile
{
public:
    explicit ScratchFile (const juce::File& folder)
    {
        auto pattern = bytesOfPath (folder.getChildFile ("tessivar-benchmark-XXXXXX"));
        descriptor = ::mkostemp (pattern.data(), O_CLOEXEC);

        if (descriptor >= 0)
            ::unlink (pattern.c_str());
    }

    ~ScratchFile()
    {
        if (descriptor >= 0)
            ::close (descriptor);
    }

    ScratchFile (const ScratchFile&) = delete;
    ScratchFile& operator= (const ScratchFile&) = delete;

    [[nodiscard]] bool isOpen() const { return descriptor >= 0; }

    [[nodiscard]] bool append (std::span<const std::byte> bytes)
    {
        for (std::size_t done = 0; done < bytes.size();)
        {
            const auto count = ::write (descriptor, bytes.data() + done, bytes.size() - done);

            if (count < 0 && errno == EINTR)
                continue;

            if (count <= 0)
                return false;

            done += static_cast<std::size_t> (count);
        }

        return true;
    }

    [[nodiscard]] bool readAt (std::int64_t offset, std::span<std::byte> bytes)
    {
        for (std::size_t done = 0; done < bytes.size();)
        {
            const auto count = ::pread (descriptor,
                                        bytes.data() + done,
                                        bytes.size() - done,
                                        offset + static_cast<std::int64_t> (done));

            if (count < 0 && errno == EINTR)
                continue;

            if (count <= 0)
                return false;

            done += static_cast<std::size_t> (count);
        }

        return true;
    }

    /** Writes to disk and drops the system's cache, which would keep unwritten pages. */
    [[nodiscard]] bool settle()
    {
        if (::fdatasync (descriptor) != 0)
            return false;

        (void) ::posix_fadvise (descriptor, 0, 0, POSIX_FADV_DONTNEED);
        return true;
    }

private:
    int descriptor = -1;
};

/** One run of the benchmark. */
class Run
{
public:
    Run (const juce::File& folderToUse, const DiskBenchmark::Options& o, const WorkControl& c)
        : folder (folderToUse), options (o), control (c), file (folderToUse),
          size (std::max (o.fileBytes, smallestFile) / static_cast<std::int64_t> (pieceBytes)
                * static_cast<std::int64_t> (pieceBytes)),
          buffer (pieceBytes)
    {
    }

    juce::Result all (DiskBenchmark& result)
    {
        if (! file.isOpen() || ! write (result))
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
        const auto reason = wasStopped ? juce::String ("stopped") : describeError (errno);
        return juce::Result::fail ("disk benchmark in " + folder.getFullPathName() + ": " + reason);
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

            if (! shouldContinue() || ! file.append (buffer))
                return false;

            control.progress (0.4 * static_cast<double> (done) / static_cast<double> (size));
        }

        if (! file.settle())
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
            if (! shouldContinue() || ! file.readAt (done, buffer))
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

        if (! file.settle())
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
                    || ! file.readAt (stream * perStream + at,
                                      std::span (buffer).first (static_cast<std::size_t> (piece))))
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
    ScratchFile file;
    const std::int64_t size;
    std::vector<std::byte> buffer;
    bool wasStopped = false;
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
