#include "model/audiofile/AudioFormats.h"

#include <FLAC/stream_decoder.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace tessivar
{

namespace
{
/** Reads FLAC streams and fails where they are damaged.

    Hand-written: libsndfile refuses 12, 20 and 32 bits, and takes a stream of unstated length for 2^63
    samples; JUCE's reader plays silence for a lost frame, or joins the audio on both sides of it.
*/
class FlacReader final : public juce::AudioFormatReader
{
public:
    explicit FlacReader (std::unique_ptr<juce::InputStream> stream)
        : AudioFormatReader (stream.release(), "FLAC"), decoder (FLAC__stream_decoder_new())
    {
    }

    ~FlacReader() override { FLAC__stream_decoder_delete (decoder); }

    juce::Result open()
    {
        if (decoder == nullptr)
            return juce::Result::fail ("no memory for the FLAC decoder");

        FLAC__stream_decoder_set_metadata_respond (decoder, FLAC__METADATA_TYPE_VORBIS_COMMENT);
        if (FLAC__stream_decoder_init_stream (
                decoder, readBytes, seek, tell, length, isAtEnd, takeFrame, takeMetadata, takeError, this)
                != FLAC__STREAM_DECODER_INIT_STATUS_OK
            || ! FLAC__stream_decoder_process_until_end_of_metadata (decoder) || numChannels == 0)
            return juce::Result::fail ("the FLAC header can't be decoded");

        if (lengthInSamples == 0)
        {
            // A stream written to a pipe doesn't state its length: count it once.
            const auto counted = FLAC__stream_decoder_process_until_end_of_stream (decoder);
            lengthInSamples = bufferStart + bufferLength();
            if (! counted || failed || ! FLAC__stream_decoder_reset (decoder)
                || ! FLAC__stream_decoder_process_until_end_of_metadata (decoder))
                return juce::Result::fail ("damaged FLAC data after " + juce::String (lengthInSamples)
                                           + " samples");
            clearBuffer (0);
        }

        failed = false;
        return juce::Result::ok();
    }

    bool readSamples (int* const* destChannels,
                      int numDestChannels,
                      int startOffsetInDestBuffer,
                      juce::int64 startSampleInFile,
                      int numSamples) override
    {
        clearSamplesBeyondAvailableLength (destChannels,
                                           numDestChannels,
                                           startOffsetInDestBuffer,
                                           startSampleInFile,
                                           numSamples,
                                           lengthInSamples);

        while (numSamples > 0)
        {
            const auto offset = startSampleInFile - bufferStart;
            if (offset < 0 || offset >= bufferLength())
            {
                if (! decodeAt (startSampleInFile))
                    return false;
                continue;
            }

            const auto count =
                static_cast<int> (std::min<std::int64_t> (numSamples, bufferLength() - offset));
            for (int channel = 0; channel < numDestChannels; ++channel)
                if (destChannels[channel] != nullptr)
                    std::memcpy (destChannels[channel] + startOffsetInDestBuffer,
                                 buffer[static_cast<std::size_t> (channel)].data() + offset,
                                 static_cast<std::size_t> (count) * sizeof (int));

            startOffsetInDestBuffer += count;
            startSampleInFile += count;
            numSamples -= count;
        }

        return true;
    }

private:
    FLAC__StreamDecoder* decoder;
    std::vector<std::vector<int>> buffer; // the last decoded frame, left-aligned in 32 bits
    std::int64_t bufferStart = 0;
    bool failed = false;
    bool isSeeking = false;

    [[nodiscard]] std::int64_t bufferLength() const
    {
        return buffer.empty() ? 0 : static_cast<std::int64_t> (buffer.front().size());
    }

    void clearBuffer (std::int64_t nextStart)
    {
        for (auto& channel : buffer)
            channel.clear();
        bufferStart = nextStart;
    }

    /** Decodes until the buffer holds the sample. */
    bool decodeAt (std::int64_t sample)
    {
        const auto next = bufferStart + bufferLength();
        clearBuffer (next);
        failed = false;

        if (sample == next)
        {
            while (bufferLength() == 0 && ! failed)
                if (! FLAC__stream_decoder_process_single (decoder)
                    || FLAC__stream_decoder_get_state (decoder) == FLAC__STREAM_DECODER_END_OF_STREAM)
                    break;
        }
        else
        {
            isSeeking = true;
            const auto found =
                FLAC__stream_decoder_seek_absolute (decoder, static_cast<FLAC__uint64> (sample)) != 0;
            isSeeking = false;
            if (! found)
            {
                // After a failed seek the decoder does nothing until it is flushed.
                FLAC__stream_decoder_flush (decoder);
                clearBuffer (-1);
                return false;
            }
            // Errors on the way are part of the search; the frame it ends on is sound.
            failed = false;
        }

        return ! failed && sample >= bufferStart && sample < bufferStart + bufferLength();
    }

    static FlacReader& self (void* client) { return *static_cast<FlacReader*> (client); }

    static FLAC__StreamDecoderReadStatus
    readBytes (const FLAC__StreamDecoder*, FLAC__byte* bytes, size_t* count, void* client)
    {
        constexpr size_t largestRead = 1 << 30;
        const auto numRead =
            self (client).input->read (bytes, static_cast<int> (std::min (*count, largestRead)));
        *count = static_cast<size_t> (std::max (numRead, 0));
        return numRead > 0 ? FLAC__STREAM_DECODER_READ_STATUS_CONTINUE
                           : FLAC__STREAM_DECODER_READ_STATUS_END_OF_STREAM;
    }

    static FLAC__StreamDecoderSeekStatus
    seek (const FLAC__StreamDecoder*, FLAC__uint64 position, void* client)
    {
        return self (client).input->setPosition (static_cast<juce::int64> (position))
                   ? FLAC__STREAM_DECODER_SEEK_STATUS_OK
                   : FLAC__STREAM_DECODER_SEEK_STATUS_ERROR;
    }

    static FLAC__StreamDecoderTellStatus
    tell (const FLAC__StreamDecoder*, FLAC__uint64* position, void* client)
    {
        *position = static_cast<FLAC__uint64> (self (client).input->getPosition());
        return FLAC__STREAM_DECODER_TELL_STATUS_OK;
    }

    static FLAC__StreamDecoderLengthStatus
    length (const FLAC__StreamDecoder*, FLAC__uint64* size, void* client)
    {
        *size = static_cast<FLAC__uint64> (self (client).input->getTotalLength());
        return FLAC__STREAM_DECODER_LENGTH_STATUS_OK;
    }

    static FLAC__bool isAtEnd (const FLAC__StreamDecoder*, void* client)
    {
        return self (client).input->isExhausted();
    }

    static FLAC__StreamDecoderWriteStatus takeFrame (const FLAC__StreamDecoder*,
                                                     const FLAC__Frame* frame,
                                                     const FLAC__int32* const samples[],
                                                     void* client)
    {
        auto& reader = self (client);
        const auto start = static_cast<std::int64_t> (frame->header.number.sample_number);
        const auto isGap = ! reader.isSeeking && start != reader.bufferStart + reader.bufferLength();
        if (frame->header.channels != reader.numChannels
            || frame->header.bits_per_sample != reader.bitsPerSample || isGap)
        {
            reader.failed = true;
            return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
        }

        const auto shift = 32 - reader.bitsPerSample;
        for (unsigned int channel = 0; channel < reader.numChannels; ++channel)
        {
            auto& dest = reader.buffer[channel];
            dest.resize (frame->header.blocksize);
            std::transform (samples[channel],
                            samples[channel] + frame->header.blocksize,
                            dest.begin(),
                            [shift] (FLAC__int32 sample)
                            { return static_cast<int> (static_cast<std::uint32_t> (sample) << shift); });
        }
        reader.bufferStart = start;
        return FLAC__STREAM_DECODER_WRITE_STATUS_CONTINUE;
    }

    static void takeMetadata (const FLAC__StreamDecoder*, const FLAC__StreamMetadata* metadata, void* client)
    {
        auto& reader = self (client);
        if (metadata->type == FLAC__METADATA_TYPE_STREAMINFO)
        {
            const auto& info = metadata->data.stream_info;
            reader.sampleRate = info.sample_rate;
            reader.numChannels = info.channels;
            reader.bitsPerSample = info.bits_per_sample;
            reader.buffer.resize (info.channels);
            if (info.total_samples > 0)
                reader.lengthInSamples = static_cast<juce::int64> (info.total_samples);
        }
        else if (metadata->type == FLAC__METADATA_TYPE_VORBIS_COMMENT)
        {
            const auto& comments = metadata->data.vorbis_comment;
            for (FLAC__uint32 i = 0; i < comments.num_comments; ++i)
            {
                const auto& entry = comments.comments[i];
                addVorbisComment ({ entry.entry, entry.length }, reader.metadataValues);
            }
        }
    }

    static void takeError (const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus, void* client)
    {
        self (client).failed = true;
    }

    JUCE_DECLARE_NON_COPYABLE (FlacReader)
};
} // namespace

juce::Result inspectFlacHeader (const HeaderSource& source, std::int64_t start, AudioHeader& header)
{
    using juce::Result, juce::String;

    header.kind = AudioFileKind::flac;
    const auto fileSize = source.size();

    // "fLaC", the head of the first block, and the stream's description in it
    std::array<std::uint8_t, 42> bytes{};
    if (! source.read (start, bytes))
        return Result::fail ("a FLAC file that ends within its header of 42 bytes");

    const auto u24 = [&] (std::size_t i) { return (bytes[i] << 16) | (bytes[i + 1] << 8) | bytes[i + 2]; };
    if ((bytes[4] & 0x7f) != 0 || u24 (5) != 34)
        return Result::fail ("a FLAC file without a description of its stream");

    const int minBlock = (bytes[8] << 8) | bytes[9];
    const int maxBlock = (bytes[10] << 8) | bytes[11];
    const int sampleRate = u24 (18) >> 4;
    const int channels = ((bytes[20] >> 1) & 7) + 1;
    const int bits = (((bytes[20] & 1) << 4) | (bytes[21] >> 4)) + 1;
    const auto length = (static_cast<std::int64_t> (bytes[21] & 0x0f) << 32)
                        | static_cast<std::int64_t> (juce::ByteOrder::bigEndianInt (&bytes[22]));

    if (minBlock < 16 || maxBlock < minBlock)
        return Result::fail ("blocks of " + String (minBlock) + " to " + String (maxBlock) + " samples");
    if (const auto result = checkAudioFormat (channels, sampleRate, bits, false); result.failed())
        return result;

    auto position = start + 4;
    auto isLast = false;
    for (int count = 0; ! isLast; ++count)
    {
        std::array<std::uint8_t, 4> block{};
        if (count > headerLimits::maxChunks)
            return Result::fail ("more than " + String (headerLimits::maxChunks) + " metadata blocks");
        if (! source.read (position, block))
            return Result::fail ("the file ends within its metadata");

        isLast = (block[0] & 0x80) != 0;
        const std::int64_t size = (block[1] << 16) | (block[2] << 8) | block[3];
        position += 4;
        if (size > fileSize - position)
            return chunkPastEnd ("metadata block " + String (block[0] & 0x7f), size, fileSize - position);
        position += size;
    }

    // The smallest frame, silence in one channel, has a head of 6 bytes, a byte and a sample for the silence,
    // and a checksum of two.
    constexpr std::int64_t smallestFrame = 10;
    header.maxLengthInSamples = (fileSize - position) / smallestFrame * maxBlock;
    if (length > header.maxLengthInSamples)
        return Result::fail ("the header promises " + String (length) + " samples; the "
                             + String (fileSize - position) + " bytes of the file can't hold them");

    header.sampleRate = sampleRate;
    header.numChannels = channels;
    header.bitsPerSample = bits;
    header.lengthInSamples = length > 0 ? length : -1;
    return Result::ok();
}

std::unique_ptr<juce::AudioFormatReader> createFlacReader (std::unique_ptr<juce::InputStream> stream,
                                                           juce::Result& why)
{
    auto reader = std::make_unique<FlacReader> (std::move (stream));
    why = reader->open();
    if (why.failed())
        return nullptr;

    return reader;
}

} // namespace tessivar
