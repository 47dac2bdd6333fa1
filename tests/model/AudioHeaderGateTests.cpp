#include "model/audiofile/AudioFileReaders.h"
#include "model/audiofile/AudioHeader.h"
#include "tests/model/AudioFileBuilders.h"

#include <catch2/catch.hpp>
#include <ogg/ogg.h>

#include <cmath>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
/** The reason of a refusal; empty when the header passes. */
juce::String refusal (const Bytes& bytes)
{
    AudioHeader header;
    const auto stream = streamOn (bytes);
    return inspectAudioHeader (*stream, header).getErrorMessage();
}

AudioHeader pass (const Bytes& bytes)
{
    AudioHeader header;
    const auto stream = streamOn (bytes);
    const auto result = inspectAudioHeader (*stream, header);
    INFO (result.getErrorMessage());
    REQUIRE (result.wasOk());
    return header;
}

bool contains (const juce::String& text, const char* part)
{
    INFO (text);
    return text.contains (part);
}

void checkRefused (const Bytes& bytes, const char* part)
{
    CHECK (contains (refusal (bytes), part));
}

/** A number of so many bits in an Ogg packet. */
struct PackedNumber
{
    unsigned long value;
    int width;
};

/** An Ogg file of nothing but header packets; its setup header has one codebook with these sizes and lengths.
*/
Bytes oggWithCodebook (const std::vector<PackedNumber>& numbers)
{
    oggpack_buffer bits{};
    oggpack_writeinit (&bits);
    oggpack_write (&bits, 0, 8);
    oggpack_write (&bits, 0x564342, 24);
    for (const auto& number : numbers)
        oggpack_write (&bits, number.value, number.width);
    const auto* const packed = oggpack_get_buffer (&bits);
    const Bytes setup (packed, packed + oggpack_bytes (&bits));
    oggpack_writeclear (&bits);

    ogg_stream_state stream{};
    ogg_stream_init (&stream, 7);
    Bytes file;
    long number = 0;
    for (auto packet :
         { text ("\x01vorbis") + u32 (0) + Bytes{ 1 } + u32 (44100) + Bytes (12) + Bytes{ 0xb8, 1 },
           text ("\x03vorbis") + u32 (0) + u32 (0) + Bytes{ 1 },
           text ("\x05vorbis") + setup })
    {
        ogg_packet item{ packet.data(), static_cast<long> (packet.size()), number == 0, 0, 0, number };
        ++number;
        ogg_stream_packetin (&stream, &item);
        for (ogg_page page{}; ogg_stream_flush (&stream, &page) != 0;)
            file = file + Bytes (page.header, page.header + page.header_len)
                   + Bytes (page.body, page.body + page.body_len);
    }
    ogg_stream_clear (&stream);
    return file;
}

/** Opens a file and, if that succeeds, decodes all of it. What matters is that it comes back. */
void openAndRead (const Bytes& bytes)
{
    auto why = juce::Result::ok();
    const auto reader = openAudioStream (streamOn (bytes), why);
    INFO (why.getErrorMessage());
    CHECK ((reader == nullptr) == why.failed());
    if (reader == nullptr)
        return;

    REQUIRE (reader->numChannels <= 64);
    juce::AudioBuffer<float> buffer (static_cast<int> (reader->numChannels), 512);
    for (juce::int64 position = 0; position < std::min<juce::int64> (reader->lengthInSamples, 8192);
         position += 512)
        if (! reader->read (buffer.getArrayOfWritePointers(), buffer.getNumChannels(), position, 512))
            break;
}

struct Sample
{
    const char* name;
    Bytes bytes;
};

/** One small file of each kind, with metadata where the kind has some. */
std::vector<Sample> smallFiles()
{
    const auto audio = audioBytes (600);
    const auto cues =
        riffChunk ("cue ", u32 (1) + u32 (7) + u32 (0) + text ("data") + u32 (0) + u32 (0) + u32 (10));
    const auto labels = riffChunk ("LIST", text ("adtl") + riffChunk ("labl", u32 (7) + text ("hit")));
    const auto info = riffChunk ("LIST", text ("INFO") + riffChunk ("INAM", text ("Kick\0")));
    const auto loops = riffChunk ("smpl", Bytes (36));
    const auto marks = iffChunk ("MARK", be16 (1) + be16 (1) + be32 (5) + Bytes{ 3 } + text ("hit"));
    const auto notes = iffChunk ("COMT", be16 (1) + be32 (0) + be16 (0) + be16 (4) + text ("note"));
    return {
        { "WAV", wavFile ({}, audio, cues + labels + info + loops) },
        { "RF64",
          text ("RF64") + u32 (-1) + text ("WAVE")
              + riffChunk ("ds64", u64 (700) + u64 (600) + u64 (300) + u32 (0)) + wavFormat ({ 2, 48000, 24 })
              + text ("data") + u32 (-1) + audio },
        { "AIFF",
          formFile ("AIFF", aiffFormat ({ 1, 44100, 24 }, 200) + marks + notes + soundChunk (audio)) },
        { "AIFC",
          formFile ("AIFC",
                    iffChunk ("FVER", be32 (0xa2805140)) + aiffFormat ({ 1, 44100, 32 }, 150, "fl32")
                        + soundChunk (audio)) },
        { "CAF", pcmCafFile ({ 2, 48000, 24 }, audio) },
        { "ALAC", alacFile (ramp (1, 5000), 44100) },
        { "FLAC", flacFile (ramp (2, 5000), 44100.0) },
        { "Ogg", oggFile (ramp (1, 5000), 44100.0) },
    };
}
} // namespace

TEST_CASE ("inspectAudioHeader tells kinds of files apart", "[model][gate]")
{
    SECTION ("by their content")
    {
        const std::vector<AudioFileKind> kinds{ AudioFileKind::wav,  AudioFileKind::wav,
                                                AudioFileKind::aiff, AudioFileKind::aiff,
                                                AudioFileKind::caf,  AudioFileKind::caf,
                                                AudioFileKind::flac, AudioFileKind::oggVorbis };
        const auto files = smallFiles();
        for (std::size_t i = 0; i < files.size(); ++i)
        {
            INFO (files[i].name);
            CHECK (pass (files[i].bytes).kind == kinds[i]);
            CHECK (pass (files[i].bytes).notes.isEmpty());
        }
        CHECK (pass (text ("ID3") + Bytes{ 4, 0, 0, 0, 0, 1, 2 } + Bytes (130)
                     + flacFile (ramp (1, 100), 44100.0))
                   .kind
               == AudioFileKind::flac);
    }

    SECTION ("and refuses what is none")
    {
        checkRefused ({}, "empty");
        checkRefused (text ("RIF"), "not an audio file");
        checkRefused (text ("hello, this is a text"), "not an audio file");
        checkRefused (riffFile ({}), "no format chunk");
        checkRefused (text ("RIFF") + u32 (4) + text ("AVI "), "no WAVE");
        checkRefused (formFile ("8SVX", {}), "no AIFF");
        checkRefused (wavFile ({}, {}, {}).empty() ? Bytes{} : riffFile (wavFormat ({})), "no audio");
    }
}

TEST_CASE ("inspectAudioHeader refuses numbers no recording has", "[model][gate]")
{
    const auto audio = audioBytes (600);

    SECTION ("and names them")
    {
        checkRefused (wavFile ({ 0 }, audio), "0 channels");
        checkRefused (wavFile ({ 65 }, audio), "65 channels");
        checkRefused (aiffFile ({ 65535 }, audio), "65535 channels");
        checkRefused (pcmCafFile ({ 100000 }, audio), "100000 channels");
        checkRefused (wavFile ({ 1, 44100, 13 }, audio), "13 bits");
        checkRefused (wavFile ({ 1, 44100, 64 }, audio), "64 bits");
        checkRefused (wavFile ({ 1, 44100, 64, 8, true }, audio), "64-bit");
        checkRefused (wavFile ({ 1, 44100, 16, 2, true }, audio), "16-bit");
        checkRefused (wavFile ({ 1, 44100, 16, 7 }, audio), "7 bytes for a sample");
        checkRefused (wavFile ({ 1, 0 }, audio), "sample rate of 0");
        checkRefused (wavFile ({ 1, 4000000000 }, audio), "Hz");
        checkRefused (aiffFile ({ 1, 0 }, audio), "sample rate");
        checkRefused (cafFile (cafFormat ({}, "aac ", 1024)), "aac");
        checkRefused (cafFile (cafFormat ({}, "alac", 100000)), "100000 frames");
        auto notANumber = pcmCafFile ({}, audio);
        const auto nan = beDouble (std::nan (""));
        std::copy (nan.begin(), nan.end(), notANumber.begin() + 20);
        checkRefused (notANumber, "sample rate");
    }

    SECTION ("but not a rate that is only unusual")
    {
        CHECK (pass (wavFile ({ 1, 22050 }, audio)).sampleRate == 22050.0);
        CHECK (pass (aiffFile ({ 1, 8000 }, audio)).sampleRate == 8000.0);
    }

    SECTION ("a frame that can't be divided by zero bytes: 4-bit samples, and audio before the format")
    {
        checkRefused (aiffFile ({ 1, 44100, 4 }, audio), "4 bits");
        checkRefused (formFile ("AIFF", soundChunk (audio) + aiffFormat ({ 1, 44100, 4 }, 600)),
                      "before the audio");
        checkRefused (riffFile (riffChunk ("data", audio) + wavFormat ({})), "before the audio");
    }

    SECTION ("chunks that are larger than the file, or than metadata is")
    {
        const auto list = text ("LIST") + u32 (0x7ffffff0) + text ("INFO");
        checkRefused (wavFile ({}, audio, list), "LIST");
        const auto inner = riffChunk ("LIST", text ("adtl") + text ("ltxt") + u32 (0xffffffff) + Bytes (20));
        const auto header = pass (wavFile ({}, audio, inner));
        CHECK (contains (header.notes.joinIntoString ("\n"), "\"LIST\" is damaged"));
        const auto size = static_cast<std::size_t> (headerLimits::maxMetadataBytes + 1);
        checkRefused (wavFile ({}, audio, riffChunk ("bext", Bytes (size))), "16777217 bytes");
        CHECK (refusal (wavFile ({}, audio, riffChunk ("JUNK", Bytes (size)))).isEmpty());
        checkRefused (cafFile (cafFormat ({}) + text ("info") + be64 (INT64_MAX)), "info");
        checkRefused (cafFile (cafFormat ({}) + text ("info") + be64 (-5)), "info");
        checkRefused (
            formFile ("AIFF",
                      aiffFormat ({}, 300) + text ("SSND") + be32 (100) + be32 (-8) + be32 (0) + audio),
            "4294967288 bytes into");
    }

    SECTION ("formats that are stated twice")
    {
        const PcmFormat mono, stereo{ 2 };
        checkRefused (riffFile (wavFormat (mono) + wavFormat (stereo) + riffChunk ("data", audio)),
                      "two format");
        checkRefused (wavFile (mono, audio, wavFormat (stereo)), "two format");
        checkRefused (wavFile (mono, audio, riffChunk ("data", audio)), "two chunks of audio");
        checkRefused (cafFile (cafFormat (mono) + cafFormat (stereo) + cafChunk ("data", be32 (0) + audio)),
                      "two format");
        checkRefused (
            formFile ("AIFF", aiffFormat (mono, 300) + soundChunk (audio) + aiffFormat (stereo, 150)),
            "two format");
    }

    SECTION ("channel masks of all sizes")
    {
        const auto extensible = u16 (0xfffe) + u16 (40) + u32 (44100) + u32 (44100 * 80) + u16 (80) + u16 (16)
                                + u16 (22) + u16 (16) + u32 (-1) + u16 (1)
                                + Bytes{ 0, 0, 0, 0, 16, 0, 128, 0, 0, 170, 0, 56, 155, 113 };
        openAndRead (riffFile (riffChunk ("fmt ", extensible) + riffChunk ("data", audio)));
    }

    SECTION ("compressed streams that promise more than their bytes can hold")
    {
        auto flac = flacFile (ramp (1, 100), 44100.0);
        flac[22] = 0xff;
        checkRefused (flac, "can't hold");

        // A cookie of another size than the file's packets, and a table that ends before its packets do.
        const auto alac = cafFormat ({ 1, 44100, 16 }, "alac", 4096);
        const auto cookie = [] (int frames) {
            return cafChunk ("kuki", be32 (frames) + Bytes{ 0, 16, 40, 10, 14, 1, 0, 255 } + Bytes (12));
        };
        const auto table = [] (std::int64_t packets, std::int64_t frames) {
            return cafChunk ("pakt", be64 (packets) + be64 (frames) + be64 (0) + Bytes{ 100, 100 });
        };
        const auto data = [] (std::size_t size) { return cafChunk ("data", be32 (0) + Bytes (size)); };
        CHECK (refusal (cafFile (alac + cookie (4096) + table (2, 8192) + data (200))).isEmpty());
        checkRefused (cafFile (alac + cookie (8192) + table (2, 8192) + data (200)), "8192 frames");
        checkRefused (cafFile (alac + cookie (4096) + table (INT64_MAX, 0) + data (200)),
                      "packets in 2 bytes");
        checkRefused (cafFile (alac + cookie (4096) + table (2, 8193) + data (200)), "8193 frames");
        checkRefused (cafFile (alac + cookie (4096) + table (2, 1) + data (199)), "only 99 are left");
        checkRefused (cafFile (alac + cookie (4096) + data (200)), "packet table");
        checkRefused (cafFile (alac + table (2, 8192) + data (200)), "no ALAC configuration");
    }

    SECTION ("ALAC packets that a decoder would turn into silence")
    {
        auto bytes = alacFile (noise (1, 40000), 44100);
        std::fill_n (
            bytes.begin() + static_cast<std::ptrdiff_t> (bytes.size() / 2), 9000, std::uint8_t{ 0xff });
        checkRefused (bytes, "packet 5 is damaged");
    }

    SECTION ("Ogg files that a decoder would fill with silence or misread")
    {
        auto damaged = oggFile (ramp (1, 20000), 44100.0);
        const auto whole = damaged;
        damaged[damaged.size() / 2] ^= 1;
        checkRefused (damaged, "damaged");
        checkRefused (whole + oggFile (ramp (2, 100), 44100.0), "more than one stream");
        const Bytes cut (whole.begin(), whole.end() - 10);
        CHECK (contains (pass (cut).notes.joinIntoString ("\n"), "no end mark"));
    }

    SECTION ("Ogg codebooks that a decoder divides by, has no room for, or leaves half made")
    {
        // Dimensions, entries; then, in order of length: the first length - 1, and how many entries have it.
        CHECK (refusal (oggWithCodebook ({ { 1, 16 }, { 2, 24 }, { 1, 1 }, { 0, 5 }, { 2, 2 }, { 0, 4 } }))
                   .isEmpty());
        checkRefused (oggWithCodebook ({ { 0, 16 }, { 2, 24 } }), "without dimensions");
        checkRefused (oggWithCodebook ({ { 1, 16 }, { 1 << 20, 24 }, { 1, 1 }, { 19, 5 }, { 1 << 20, 21 } }),
                      "1048576 entries");
        checkRefused (oggWithCodebook ({ { 1, 16 }, { 3, 24 }, { 1, 1 }, { 1, 5 }, { 3, 2 }, { 0, 4 } }),
                      "no whole tree");
        checkRefused (
            oggWithCodebook ({ { 255, 16 }, { 32768, 24 }, { 1, 1 }, { 14, 5 }, { 32768, 16 }, { 0, 4 } }),
            "values");
    }

    SECTION ("AIFF lengths that a reader takes for negative ones")
    {
        for (const auto frames : { 0x80000000, 0x8000084c, 0xffffffff })
        {
            auto why = juce::Result::ok();
            const auto bytes = formFile ("AIFF", aiffFormat ({ 1, 44100, 16 }, frames) + soundChunk (audio));
            const auto reader = openAudioStream (streamOn (bytes), why);
            REQUIRE (reader != nullptr);
            CHECK (reader->lengthInSamples == 300);
            CHECK (contains (reader->header().notes.joinIntoString ("\n"), "ends after 300"));
        }
    }
}

TEST_CASE ("openAudioStream survives any file", "[model][gate][hostile]")
{
    for (const auto& file : smallFiles())
    {
        DYNAMIC_SECTION (file.name << " cut at every length")
        {
            for (std::size_t length = 0; length < std::min<std::size_t> (file.bytes.size(), 2000); ++length)
                openAndRead (
                    Bytes (file.bytes.begin(), file.bytes.begin() + static_cast<std::ptrdiff_t> (length)));
        }

        DYNAMIC_SECTION (file.name << " with every byte of its head changed")
        {
            for (std::size_t i = 0; i < std::min<std::size_t> (file.bytes.size(), 1200); ++i)
                for (const auto value : { 0x00, 0x01, 0x7f, 0x80, 0xff })
                {
                    auto bytes = file.bytes;
                    bytes[i] = static_cast<std::uint8_t> (value);
                    openAndRead (bytes);
                }
        }
    }

    SECTION ("that was found to end the program or to keep it for ever")
    {
        for (const auto& file :
             juce::File (TESSIVAR_AUDIO_CORPUS).findChildFiles (juce::File::findFiles, false))
        {
            INFO (file.getFileName());
            juce::MemoryBlock content;
            REQUIRE (file.loadFileAsData (content));
            openAndRead (Bytes (content.begin(), content.end()));
        }

        // A LIST of odd size with a stray byte, at the end of a file that lacks the byte of padding.
        auto bytes = wavFile ({}, audioBytes (600), riffChunk ("LIST", text ("adtl") + Bytes{ 1 }));
        bytes.pop_back();
        openAndRead (bytes);
    }

    SECTION ("XML that is nested without end, or cut off")
    {
        std::string nested;
        for (int i = 0; i < 200000; ++i)
            nested += "<a>";
        for (const auto& xml : { nested, std::string ("<a"), std::string ("<a>&b"), std::string ("<a b=\"") })
            for (const auto* const tag : { "iXML", "axml" })
                openAndRead (wavFile ({}, audioBytes (600), riffChunk (tag, text (xml))));
    }
}
