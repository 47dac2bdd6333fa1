#pragma once

#include "model/AudioHeaderGate.h"

#include <cstddef>
#include <span>

/** What the header checks of the single formats share. */
namespace tessivar
{

/** Reads whole pieces of a stream at any position. */
class HeaderSource
{
public:
    explicit HeaderSource (juce::InputStream& inputStream)
        : stream (inputStream), totalSize (inputStream.getTotalLength())
    {
    }

    /** Bytes in the file. */
    [[nodiscard]] std::int64_t size() const { return totalSize; }

    /** Fills all of bytes from a position; false when the file doesn't reach that far or can't be read. */
    [[nodiscard]] bool read (std::int64_t position, std::span<std::uint8_t> bytes) const;

    /** True when these four characters stand at the position. */
    [[nodiscard]] bool hasTag (std::int64_t position, const char* tag) const;

private:
    juce::InputStream& stream;
    std::int64_t totalSize;
};

juce::Result inspectWavHeader (const HeaderSource& source, AudioHeader& header);
juce::Result inspectAiffHeader (const HeaderSource& source, AudioHeader& header);
juce::Result inspectCafHeader (const HeaderSource& source, AudioHeader& header);
/** @param start  where "fLaC" stands: tags may come first */
juce::Result inspectFlacHeader (const HeaderSource& source, std::int64_t start, AudioHeader& header);
juce::Result inspectOggHeader (const HeaderSource& source, AudioHeader& header);

/** Channels, sample rate and depth within the limits. Depths are 8, 12, 16, 20, 24 and 32 bits, floats 32. */
juce::Result checkAudioFormat (std::int64_t channels, double sampleRate, int bits, bool isFloatingPoint);

/** Whether a chunk's four characters, as they stand in the file, are these. */
bool isTag (const std::uint8_t* bytes, const char* tag);

/** A chunk's four characters, printable. */
juce::String tagText (const std::uint8_t* bytes);

juce::Result chunkPastEnd (const juce::String& tag, std::int64_t chunkSize, std::int64_t remaining);
juce::Result metadataTooLarge (const juce::String& tag, std::int64_t chunkSize);

/** "the header promises 1000 samples, the file ends after 400" */
juce::String truncationNote (std::int64_t promised, std::int64_t present);

} // namespace tessivar
