#pragma once

#include "model/audiofile/AudioHeader.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>

/** Internal to this folder: what the audio formats share, and a check and a reader for each. */
namespace tessivar
{

/** Reads a stream at any position: all of the bytes asked for, or none. */
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

/** Readers of streams whose header passed its check; null when the audio can't be decoded. */
std::unique_ptr<juce::AudioFormatReader> createCafReader (std::unique_ptr<juce::InputStream> stream,
                                                          const AudioHeader& header);
/** @param why  holds the reason when null is returned */
std::unique_ptr<juce::AudioFormatReader> createFlacReader (std::unique_ptr<juce::InputStream> stream,
                                                           juce::Result& why);

/** Channels, sample rate and depth within the limits. Depths are 8, 12, 16, 20, 24 and 32 bits, floats 32. */
juce::Result checkAudioFormat (std::int64_t channels, double sampleRate, int bits, bool isFloatingPoint);

/** Whether a chunk's four characters, as they stand in the file, are these. */
bool isTag (const std::uint8_t* bytes, const char* tag);
bool isOneOfTags (const std::uint8_t* bytes, std::initializer_list<const char*> tags);

/** A chunk's four characters, printable. */
juce::String tagText (const std::uint8_t* bytes);

/** Adds a chunk to those of the header that are metadata, if it is any. */
void listChunk (AudioHeader& header, const std::uint8_t* tag, std::int64_t start, std::int64_t size);

/** A number that the format's reader is to see at an offset. */
HeaderPatch patchOf (std::int64_t offset, std::int64_t value, int numBytes, bool isBigEndian = false);

juce::Result chunkPastEnd (const juce::String& tag, std::int64_t chunkSize, std::int64_t remaining);
juce::Result metadataTooLarge (const juce::String& tag, std::int64_t chunkSize);

/** "the header promises 1000 samples, the file ends after 400" */
juce::String truncationNote (std::int64_t promised, std::int64_t present);

/** The key for a text tag of a FLAC, Ogg or CAF file (title, artist, comment and so on, in any case): that of
    a RIFF INFO list, so that it has a place in an exported file. Tags without a counterpart keep their name.
*/
juce::String metadataKeyForTag (const juce::String& tag);

/** Adds a text tag as FLAC and Ogg files hold it, "TITLE=Take 1", under its key. Skips tags without a value.
*/
void addVorbisComment (std::span<const std::uint8_t> comment, juce::StringPairArray& metadata);

} // namespace tessivar
