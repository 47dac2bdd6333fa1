#include "jobs/MonoFileWriter.h"

#include "engine/numerics/simd/SignalKernels.h"
#include "jobs/AudioFileChunks.h"
#include "platform/Folders.h"

#include <algorithm>
#include <limits>

namespace tessivar
{

namespace
{
constexpr std::uint64_t fourGigabytes = 0x100000000ull;
constexpr std::uint64_t largestAiffAudio = 0xffe00000ull; // the AIFF writer stops a little above

/** Bytes before the audio chunk of a file without metadata; the same for plain WAV and RF64. */
constexpr std::uint64_t headerBytes (ExportFileType type)
{
    return type == ExportFileType::wav ? 96 : 38;
}

/** Id and size of the audio chunk; AIFF adds two numbers to them. */
constexpr std::uint64_t audioHeaderBytes (ExportFileType type)
{
    return type == ExportFileType::wav ? 8 : 16;
}

/** Inserts bytes into what a writer writes: everything from insertAt on moves behind them.

    JUCE's writers know few kinds of metadata, and lose or add some. So they get none, and the chunks of the
    source go in here unchanged. libsndfile would insert them itself, but writes another header, so exports
    would change.
*/
class InsertingStream final : public juce::OutputStream
{
public:
    InsertingStream (juce::OutputStream& destination,
                     std::uint64_t insertAt,
                     const juce::MemoryBlock& inserted)
        : out (destination), border (static_cast<juce::int64> (insertAt)), bytes (inserted)
    {
    }

    bool write (const void* data, std::size_t numBytes) override
    {
        const auto* source = static_cast<const char*> (data);

        while (numBytes > 0)
        {
            const auto room = position < border ? static_cast<std::size_t> (border - position) : numBytes;
            const auto count = std::min (room, numBytes);

            if (! out.write (source, count))
                return false;

            position += static_cast<juce::int64> (count);
            source += count;
            numBytes -= count;

            if (position == border && ! out.write (bytes.getData(), bytes.getSize()))
                return false;
        }

        return true;
    }

    bool setPosition (juce::int64 newPosition) override
    {
        position = newPosition;
        return out.setPosition (
            newPosition < border ? newPosition : newPosition + static_cast<juce::int64> (bytes.getSize()));
    }

    juce::int64 getPosition() override { return position; }
    void flush() override { out.flush(); }

private:
    juce::OutputStream& out;
    const juce::int64 border;
    const juce::MemoryBlock bytes;
    juce::int64 position = 0;
};
} // namespace

std::uint64_t MonoFilePlan::audioBytes() const
{
    return static_cast<std::uint64_t> (lengthInSamples)
           * static_cast<std::uint64_t> (format.bitsPerSample / 8);
}

std::uint64_t MonoFilePlan::fileBytes() const
{
    auto bytes = headerBytes (type) + audioHeaderBytes (type) + audioBytes() + audioBytes() % 2;

    for (const auto& chunk : metadata)
        bytes += 8 + chunk.bytes.size() + chunk.bytes.size() % 2;

    return bytes;
}

bool MonoFilePlan::needsRf64() const
{
    return type == ExportFileType::wav && audioBytes() >= fourGigabytes;
}

juce::Result MonoFilePlan::check() const
{
    if (type == ExportFileType::aiff && std::max (audioBytes(), fileBytes() - 8) > largestAiffAudio)
        return juce::Result::fail ("the file would have " + describeBytes (fileBytes())
                                   + ", more than the 4 GB of an AIFF file; WAV can hold it");

    return juce::Result::ok();
}

MonoFileWriter::MonoFileWriter (const juce::File& target, MonoFilePlan planToWrite, FileSystemCalls& calls)
    : plan (std::move (planToWrite)), file (target, calls)
{
}

MonoFileWriter::~MonoFileWriter() = default;

juce::Result MonoFileWriter::openFile()
{
    return file.open (plan.fileBytes());
}

juce::Result MonoFileWriter::createWriter()
{
    auto stream = std::make_unique<InsertingStream> (
        file, headerBytes (plan.type), encodeChunks (plan.metadata, plan.type));

    if (plan.type == ExportFileType::wav)
        writer.reset (juce::WavAudioFormat().createWriterFor (
            stream.get(), plan.sampleRate, 1u, plan.format.bitsPerSample, {}, 0));
    else
        writer.reset (juce::AiffAudioFormat().createWriterFor (
            stream.get(), plan.sampleRate, 1u, plan.format.bitsPerSample, {}, 0));

    if (writer == nullptr)
        return failure ("no such file can be made with " + juce::String (plan.format.bitsPerSample) + " bit");

    std::ignore = stream.release(); // belongs to the writer now
    return file.status();
}

juce::Result MonoFileWriter::write (std::span<const float> samples)
{
    jassert (writer != nullptr);
    const auto numSamples = static_cast<int> (samples.size());

    if (plan.format.isFloatingPoint)
    {
        const auto* channel = samples.data();
        writer->writeFromFloatArrays (&channel, 1, numSamples);
    }
    else
    {
        integers.resize (samples.size());
        numClipped += static_cast<std::int64_t> (
            kernels::quantised (integers.data(), samples.data(), plan.format.bitsPerSample, samples.size()));
        const int* channel = integers.data();
        writer->write (&channel, numSamples);
    }

    return file.status();
}

juce::Result MonoFileWriter::finish()
{
    writer.reset(); // completes the header

    if (file.status().wasOk())
        patchFileSize();

    if (auto finished = file.finish(); finished.failed())
        return finished;

    return verify();
}

juce::Result MonoFileWriter::commit (AtomicFile::IfTargetExists ifTargetExists)
{
    return file.commit (ifTargetExists);
}

/** The file size that the writer states leaves out the inserted chunks. */
void MonoFileWriter::patchFileSize()
{
    const auto size = plan.fileBytes() - 8;

    if (plan.needsRf64())
    {
        file.setPosition (20);
        file.writeInt64 (static_cast<juce::int64> (size));
    }
    else if (plan.type == ExportFileType::wav)
    {
        // Audio just below the limit and header together exceed it: readers take the largest number as "to
        // the end".
        file.setPosition (4);
        file.writeInt (static_cast<int> (static_cast<std::uint32_t> (
            std::min<std::uint64_t> (size, std::numeric_limits<std::uint32_t>::max()))));
    }
    else
    {
        file.setPosition (4);
        file.writeIntBigEndian (static_cast<int> (static_cast<std::uint32_t> (size)));
    }
}

juce::Result MonoFileWriter::verify() const
{
    const auto size = static_cast<std::uint64_t> (file.temporaryFile().getSize());

    if (size != plan.fileBytes())
        return failure ("the written file has " + juce::String (size) + " bytes instead of "
                        + juce::String (plan.fileBytes()));

    auto why = juce::Result::ok();
    const auto reader = openAudioFile (file.temporaryFile(), why);

    if (reader == nullptr)
        return failure ("the written file can't be read back: " + why.getErrorMessage());

    const auto& header = reader->header();

    if (header.lengthInSamples != plan.lengthInSamples || header.sampleRate != plan.sampleRate
        || header.numChannels != 1 || header.bitsPerSample != plan.format.bitsPerSample
        || header.isFloatingPoint != plan.format.isFloatingPoint)
        return failure ("the written file reads back with " + juce::String (header.lengthInSamples)
                        + " samples, " + juce::String (header.sampleRate) + " Hz, "
                        + juce::String (header.numChannels) + " channels, "
                        + juce::String (header.bitsPerSample) + " bit");

    return juce::Result::ok();
}

juce::Result MonoFileWriter::failure (const juce::String& reason) const
{
    return juce::Result::fail (file.targetFile().getFullPathName() + ": " + reason);
}

} // namespace tessivar
