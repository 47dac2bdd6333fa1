#pragma once

#include "jobs/ExportPlan.h"
#include "model/audiofile/AudioFileReaders.h"
#include "platform/AtomicFile.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace tessivar
{

/** Everything about a mono audio file that is known before its samples are. */
struct MonoFilePlan
{
    ExportFileType type = ExportFileType::wav;
    ExportSampleFormat format;
    double sampleRate = 0.0; // Hz
    std::int64_t lengthInSamples = 0;
    std::vector<MetadataChunk> metadata;

    [[nodiscard]] std::uint64_t audioBytes() const;

    /** Size of the finished file. */
    [[nodiscard]] std::uint64_t fileBytes() const;

    /** Whether the audio is too long for the 32-bit sizes of a plain WAV file. */
    [[nodiscard]] bool needsRf64() const;

    /** Fails when a file of this type can't be that long. */
    [[nodiscard]] juce::Result check() const;
};

/** Writes a mono audio file that appears under its name only when it is complete and was read back.

    Use: open, write all samples in order, finish, commit. Every failure names the file and the reason;
    destruction before commit leaves nothing.
*/
class MonoFileWriter
{
public:
    MonoFileWriter (const juce::File& target, MonoFilePlan plan, FileSystemCalls& calls);
    ~MonoFileWriter();

    /** Makes the temporary file and reserves its space. */
    [[nodiscard]] juce::Result openFile();

    /** Starts the audio file in it. */
    [[nodiscard]] juce::Result createWriter();

    /** Appends samples, full scale 1.0. For integer formats they are rounded to the nearest step and clipped.
    */
    [[nodiscard]] juce::Result write (std::span<const float> samples);

    /** Completes the file, makes it durable, reads it back and compares it with the plan. */
    [[nodiscard]] juce::Result finish();

    /** Gives the file its name. */
    [[nodiscard]] juce::Result commit (AtomicFile::IfTargetExists ifTargetExists);

    /** Samples that were clipped by more than one step of the format: exactly +1.0 does not count. */
    [[nodiscard]] std::int64_t clippedSamples() const { return numClipped; }

private:
    [[nodiscard]] juce::Result verify() const;
    [[nodiscard]] juce::Result failure (const juce::String& reason) const;
    void patchFileSize();

    const MonoFilePlan plan;
    AtomicFile file;
    std::unique_ptr<juce::AudioFormatWriter> writer;
    std::vector<int> integers; // the block being written, in the upper bits
    std::int64_t numClipped = 0;
};

} // namespace tessivar
