#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace tessivar
{

/** Bytes of a file that a reader is to see in place of the file's own. */
struct HeaderPatch
{
    std::int64_t offset = 0;
    std::vector<std::uint8_t> bytes;
};

/** The stream below every reader of foreign audio. It checks every read, and can replace some of the bytes.

    The toolkit's readers and the decoders don't ask whether a read failed, and some wait for ever for a position that they
    never reach. So the first failure is remembered and nothing is read after it: the stream is then exhausted, reads give 0
    bytes, and a reader is done soon. Reads at the end, and failed ones, move the position on by what was asked for. Who
    has read asks status() whether the bytes can be believed.

    The replaced bytes let a reader that knows fewer variants of a format open a file that says the same in other words.
*/
class PatchedInputStream final : public juce::InputStream
{
public:
    /** @param shouldStop  asked at every read, may be empty; the stream fails as soon as it returns true */
    explicit PatchedInputStream (std::unique_ptr<juce::InputStream> sourceStream,
                                 std::function<bool()> shouldStop = {});

    /** A stream on an ordinary file; null with the reason when there is none. */
    static std::unique_ptr<PatchedInputStream>
    open (const juce::File& file, juce::Result& why, std::function<bool()> shouldStop = {});

    void setPatches (std::vector<HeaderPatch> headerPatches) { patches = std::move (headerPatches); }

    /** The first failure, with the byte and the system's reason; it doesn't name the file. */
    [[nodiscard]] const juce::Result& status() const { return *firstFailure; }

    /** The same for those who may ask when the stream is gone. */
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

    int readFromSource (std::uint8_t* bytes, int numBytes);
};

} // namespace tessivar
