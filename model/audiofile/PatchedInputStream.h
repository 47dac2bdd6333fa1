#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace tessivar
{

/** Bytes that a reader sees in place of the file's own. */
struct HeaderPatch
{
    std::int64_t offset = 0;
    std::vector<std::uint8_t> bytes;
};

/** The stream below every reader of audio files. It checks every read, and can replace some of the bytes.

    JUCE's readers and the decoders don't ask whether a read failed, and some wait forever for a position that
    they never reach. So the first failure is remembered and nothing is read after it: the stream is
    exhausted, reads give 0 bytes, and the reader soon finishes. Reads at the end, and failed ones, advance
    the position by the bytes asked for. After reading, status() tells whether the bytes can be trusted.

    Reads ahead in pieces that grow as long as they follow each other: some readers ask for a few kilobytes at
    a time.

    Replaced bytes let a reader that knows fewer variants of a format open a file that says the same
    differently.
*/
class PatchedInputStream final : public juce::InputStream
{
public:
    /** @param shouldStop  asked at every read, may be empty; once it returns true, the stream has failed */
    explicit PatchedInputStream (std::unique_ptr<juce::InputStream> sourceStream,
                                 std::function<bool()> shouldStop = {});

    /** A stream on an ordinary file; null with the reason when there is none. */
    static std::unique_ptr<PatchedInputStream>
    open (const juce::File& file, juce::Result& why, std::function<bool()> shouldStop = {});

    void setPatches (std::vector<HeaderPatch> headerPatches) { patches = std::move (headerPatches); }

    /** The first failure, with the byte and the system's reason; it doesn't name the file. */
    [[nodiscard]] const juce::Result& status() const { return *firstFailure; }

    /** The same, for after the stream is gone. */
    [[nodiscard]] std::shared_ptr<const juce::Result> sharedStatus() const { return firstFailure; }

    juce::int64 getTotalLength() override { return totalLength; }
    bool isExhausted() override { return firstFailure->failed() || position >= totalLength; }
    juce::int64 getPosition() override { return position; }
    bool setPosition (juce::int64 newPosition) override;
    int read (void* destination, int maxBytes) override;

private:
    std::unique_ptr<juce::InputStream> source;
    std::function<bool()> stopRequested;
    std::vector<HeaderPatch> patches;
    juce::int64 totalLength;
    juce::int64 position = 0;
    std::shared_ptr<juce::Result> firstFailure = std::make_shared<juce::Result> (juce::Result::ok());

    // What was read ahead. Less than was to be read where the source failed.
    std::vector<std::uint8_t> ahead;
    juce::int64 aheadStart = 0;
    std::size_t aheadSize = 0, nextPiece = 0;

    int readFromSource (std::uint8_t* bytes, int numBytes);
    void readAhead (juce::int64 start);
};

} // namespace tessivar
