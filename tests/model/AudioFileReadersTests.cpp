#include "model/LittleEndian.h"
#include "model/audiofile/AudioFileReaders.h"
#include "model/audiofile/ChunkReading.h"
#include "tests/model/AudioFileBuilders.h"

#include <catch2/catch.hpp>

#include <bit>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
std::unique_ptr<AudioFileReader> open (const Bytes& bytes)
{
    auto why = juce::Result::ok();
    auto reader = openAudioStream (streamOn (bytes), why);
    INFO (why.getErrorMessage());
    REQUIRE (reader != nullptr);
    return reader;
}

/** All samples of the first channel; empty when they can't be read. */
std::vector<float> samplesOf (AudioFileReader& reader)
{
    juce::AudioBuffer<float> buffer (static_cast<int> (reader.numChannels),
                                     static_cast<int> (reader.lengthInSamples));
    if (! reader.read (buffer.getArrayOfWritePointers(), buffer.getNumChannels(), 0, buffer.getNumSamples()))
        return {};
    return { buffer.getReadPointer (0), buffer.getReadPointer (0) + buffer.getNumSamples() };
}

bool isEqual (AudioFileReader& reader, const juce::AudioBuffer<float>& expected)
{
    juce::AudioBuffer<float> buffer (expected.getNumChannels(), expected.getNumSamples());
    REQUIRE (reader.lengthInSamples == expected.getNumSamples());
    REQUIRE (
        reader.read (buffer.getArrayOfWritePointers(), buffer.getNumChannels(), 0, buffer.getNumSamples()));
    for (int channel = 0; channel < expected.getNumChannels(); ++channel)
        if (! std::equal (expected.getReadPointer (channel),
                          expected.getReadPointer (channel) + expected.getNumSamples(),
                          buffer.getReadPointer (channel)))
            return false;
    return true;
}

/** A stream whose disk fails behind a position: at every read, or only once. */
class FailingStream final : public juce::MemoryInputStream
{
public:
    FailingStream (const Bytes& bytes, juce::int64 firstLostByte, bool isLasting)
        : MemoryInputStream (bytes.data(), bytes.size(), true), limit (firstLostByte), lasting (isLasting)
    {
    }

    int read (void* destination, int maxBytes) override
    {
        const auto left = std::max<juce::int64> (0, limit - getPosition());
        if (left >= maxBytes)
            return MemoryInputStream::read (destination, maxBytes);

        if (! lasting)
            limit = getTotalLength();
        return left > 0 ? MemoryInputStream::read (destination, static_cast<int> (left)) : -1;
    }

private:
    juce::int64 limit;
    const bool lasting;
};
} // namespace

TEST_CASE ("openAudioStream reads all depths", "[model][readers]")
{
    // 0x40 in the highest byte is 0.5, and the samples' lowest bits are seen beside it.
    constexpr float half = 0.5f;

    SECTION ("of WAV, also those that stand in wider containers")
    {
        auto reader = open (wavFile ({ 1, 44100, 20, 3 }, { 0x10, 0, 0x40, 0xf0, 0xff, 0xbf }));
        CHECK (reader->bitsPerSample == 20);
        CHECK (samplesOf (*reader)
               == std::vector<float>{ half + 1.0f / 524288.0f, -half - 1.0f / 524288.0f });

        reader = open (wavFile ({ 1, 44100, 24, 4 }, { 0, 1, 0, 0x40 }));
        CHECK (reader->bitsPerSample == 24);
        CHECK (samplesOf (*reader) == std::vector<float>{ half + 1.0f / 8388608.0f });

        reader = open (wavFile ({ 1, 44100, 12, 2 }, { 0x10, 0x40 }));
        CHECK (reader->bitsPerSample == 12);
        CHECK (samplesOf (*reader) == std::vector<float>{ half + 1.0f / 2048.0f });

        CHECK (samplesOf (*open (wavFile ({ 1, 44100, 8 }, { 0xc0, 0x40 })))
               == std::vector<float>{ half, -half });

        Bytes loud (4);
        littleEndian::writeU32 (loud.data(), std::bit_cast<std::uint32_t> (1.5f));
        reader = open (wavFile ({ 1, 44100, 32, 4, true }, loud));
        CHECK (reader->usesFloatingPointData);
        CHECK (samplesOf (*reader) == std::vector<float>{ 1.5f });
    }

    SECTION ("of AIFF and AIFC")
    {
        CHECK (samplesOf (*open (aiffFile ({ 1, 44100, 20 }, { 0x40, 0, 0x10 })))
               == std::vector<float>{ half + 1.0f / 524288.0f });
        const auto aifc = [] (int bits, const char* type, const Bytes& audio) {
            return formFile ("AIFC", aiffFormat ({ 1, 44100, bits }, 1, type) + soundChunk (audio));
        };
        CHECK (samplesOf (*open (aifc (24, "in24", { 0x40, 0, 0 }))) == std::vector<float>{ half });
        CHECK (samplesOf (*open (aifc (16, "sowt", { 0, 0x40 }))) == std::vector<float>{ half });
        CHECK (samplesOf (*open (aifc (32, "fl32", { 0x3f, 0x80, 0, 0 }))) == std::vector<float>{ 1.0f });
    }

    SECTION ("of CAF")
    {
        CHECK (samplesOf (*open (pcmCafFile ({ 1, 44100, 24 }, { 0x40, 0, 1 })))
               == std::vector<float>{ half + 1.0f / 8388608.0f });
        const auto reader = open (pcmCafFile ({ 1, 44100, 32, 4, true }, { 0x3f, 0xc0, 0, 0 }));
        CHECK (reader->usesFloatingPointData);
        CHECK (samplesOf (*reader) == std::vector<float>{ 1.5f });
    }

    SECTION ("of the lossless codecs, bit for bit and from any position")
    {
        const auto audio = ramp (2, 20000);
        for (const auto& bytes :
             { flacFile (audio, 48000.0, 16), flacFile (audio, 48000.0, 24), alacFile (audio, 48000) })
        {
            const auto reader = open (bytes);
            CHECK (isEqual (*reader, audio));
            juce::AudioBuffer<float> part (2, 300);
            for (const auto position : { 12345, 4000, 19700 })
            {
                REQUIRE (reader->read (part.getArrayOfWritePointers(), 2, position, 300));
                CHECK (part.getSample (1, 299) == audio.getSample (1, position + 299));
            }
        }
    }

    SECTION ("of Ogg Vorbis as floating point")
    {
        const auto reader = open (oggFile (ramp (1, 20000), 44100.0));
        CHECK (reader->header().isFloatingPoint);
        CHECK (reader->bitsPerSample == 32);
        CHECK (reader->lengthInSamples == 20000);
    }
}

TEST_CASE ("openAudioStream copes with odd headers", "[model][readers]")
{
    const auto audio = audioBytes (400);

    SECTION ("64-bit WAV under both of its names")
    {
        for (const auto* const name : { "RF64", "BW64" })
        {
            const auto sizes = riffChunk ("ds64", u64 (1000) + u64 (400) + u64 (200) + u32 (0));
            const auto bytes = text (name) + u32 (-1) + text ("WAVE") + sizes + wavFormat ({}) + text ("data")
                               + u32 (-1) + audio + riffChunk ("bext", text ("Overdub") + Bytes (595));
            const auto reader = open (bytes);
            CHECK (samplesOf (*reader) == samplesOf (*open (wavFile ({}, audio))));
            CHECK (reader->metadataValues["bwav description"] == "Overdub");
        }
    }

    SECTION ("sizes that were never filled in")
    {
        for (const auto size : { 0, -1 })
        {
            const auto bytes = text ("RIFF") + u32 (size) + text ("WAVE") + wavFormat ({}) + text ("data")
                               + u32 (size) + audio;
            const auto reader = open (bytes);
            CHECK (reader->lengthInSamples == 200);
            CHECK (samplesOf (*reader) == samplesOf (*open (wavFile ({}, audio))));
            CHECK (reader->header().notes.size() == 1);
        }
    }

    SECTION ("audio that ends before the header says so")
    {
        for (const auto& bytes : { wavFile ({}, audio), aiffFile ({}, audio), pcmCafFile ({}, audio) })
        {
            const auto reader = open ({ bytes.begin(), bytes.end() - 101 });
            CHECK (reader->lengthInSamples == 149);
            CHECK (samplesOf (*reader).size() == 149);
            CHECK (reader->header().notes.joinIntoString ("\n").contains ("promises 200 samples"));
        }
    }

    SECTION ("bytes behind the end of the file's own structure")
    {
        const auto reader = open (wavFile ({}, audio) + text ("TAG and more"));
        CHECK (reader->lengthInSamples == 200);
        CHECK (reader->header().notes.isEmpty());
    }
}

TEST_CASE ("AudioFileReader says so when samples are lost", "[model][readers]")
{
    SECTION ("because the disk fails, for ever or once, anywhere in the file")
    {
        const auto labels =
            riffChunk ("LIST", text ("adtl") + riffChunk ("labl", u32 (7) + text ("hit")))
            + riffChunk ("cue ", u32 (1) + u32 (7) + u32 (0) + text ("data") + u32 (0) + u32 (0) + u32 (10));
        const std::vector<Bytes> files{
            wavFile ({}, audioBytes (4000), labels), wavFile ({ 1, 44100, 24 }, audioBytes (3000)),
            aiffFile ({}, audioBytes (4000)),        pcmCafFile ({}, audioBytes (4000)),
            alacFile (ramp (1, 2000), 44100),        flacFile (ramp (1, 2000), 44100.0),
            oggFile (ramp (1, 2000), 44100.0)
        };
        for (const auto& bytes : files)
        {
            const auto expected = samplesOf (*open (bytes));
            const auto size = static_cast<juce::int64> (bytes.size());
            for (juce::int64 lost = 0; lost < size; lost += 1 + size / 150)
                for (const auto isLasting : { true, false })
                {
                    auto why = juce::Result::ok();
                    const auto reader =
                        openAudioStream (std::make_unique<FailingStream> (bytes, lost, isLasting), why);
                    INFO (lost << (isLasting ? " for ever: " : " once: ") << why.getErrorMessage());
                    if (reader == nullptr)
                    {
                        CHECK (why.getErrorMessage().contains ("can't be read at byte "));
                        continue;
                    }

                    // What no sample needs may be lost.
                    const auto samples = samplesOf (*reader);
                    CHECK ((samples.empty() ? reader->status().failed() : samples == expected));
                }
        }
    }

    SECTION ("because it is told to stop, also while it opens")
    {
        for (const auto numReads : { 0, 1, 3 })
        {
            int asked = 0;
            auto why = juce::Result::ok();
            const auto reader = openAudioStream (
                streamOn (oggFile (ramp (1, 9000), 44100.0)), why, [&] { return asked++ >= numReads; });
            CHECK ((reader == nullptr || samplesOf (*reader).empty()));
        }
    }

    SECTION ("because a FLAC file is cut or damaged in the middle")
    {
        const auto whole = flacFile (ramp (1, 40000), 44100.0);
        const Bytes cut (whole.begin(), whole.begin() + static_cast<std::ptrdiff_t> (whole.size() / 2));
        auto damaged = whole;
        damaged[damaged.size() / 2] ^= 0x55;
        CHECK (samplesOf (*open (whole)).size() == 40000);
        CHECK (samplesOf (*open (cut)).empty());
        CHECK (samplesOf (*open (damaged)).empty());
    }
}

TEST_CASE ("AudioFileReader gives the metadata of the file", "[model][readers]")
{
    const auto audio = audioBytes (400);

    SECTION ("and invents none")
    {
        for (const auto& bytes : { wavFile ({}, audio), aiffFile ({}, audio), pcmCafFile ({}, audio) })
            CHECK (open (bytes)->metadataValues.size() == 0);
    }

    SECTION ("of WAV: broadcast description, cues and texts, also behind texts of odd length")
    {
        const auto bext =
            riffChunk ("bext", text ("Overdub") + Bytes (331) + u32 (96000) + u32 (0) + Bytes (256));
        const auto cues =
            riffChunk ("cue ", u32 (1) + u32 (7) + u32 (0) + text ("data") + u32 (0) + u32 (0) + u32 (10));
        const auto info =
            riffChunk ("LIST",
                       text ("INFO") + riffChunk ("XYZW", text ("odd")) + riffChunk ("INAM", text ("Kick!"))
                           + riffChunk ("IART", text ("Band")));
        const auto metadata = open (wavFile ({}, audio, bext + cues + info))->metadataValues;
        CHECK (metadata["bwav description"] == "Overdub");
        CHECK (metadata["bwav time reference"] == "96000");
        CHECK (metadata["Cue0Offset"] == "10");
        CHECK (metadata["INAM"] == "Kick!");
        CHECK (metadata["IART"] == "Band");
        CHECK_FALSE (metadata.getAllKeys().contains ("NumSampleLoops"));
        CHECK_FALSE (metadata.getAllKeys().contains ("LowNote"));
    }

    SECTION ("of the other kinds under the keys of WAV")
    {
        CHECK (open (alacFile (ramp (1, 5000), 44100))->metadataValues["INAM"] == "Take 1");
        CHECK (open (oggFile (ramp (1, 5000), 44100.0))->metadataValues["INAM"] == "Take 1");
    }

    SECTION ("in text that isn't UTF-8")
    {
        const auto metadata = [] (const char* name)
        {
            auto why = juce::Result::ok();
            const auto reader = openAudioFile (juce::File (TESSIVAR_AUDIO_CORPUS).getChildFile (name), why);
            INFO (why.getErrorMessage());
            REQUIRE (reader != nullptr);
            return reader->metadataValues;
        };
        CHECK (
            metadata ("latin1_bext.wav")["bwav description"].startsWith (juce::CharPointer_UTF8 ("Größe: ")));
        CHECK (metadata ("latin1_cue.wav")["CueLabel0Text"] == juce::CharPointer_UTF8 ("Übergang"));
        CHECK (metadata ("comment_not_utf8.flac").size() > 0);
    }

    SECTION ("but not what is damaged")
    {
        const auto reader = open (wavFile ({}, audio, riffChunk ("cue ", u32 (1000000) + Bytes (24))));
        CHECK (reader->metadataValues.size() == 0);
        CHECK (reader->header().notes.size() == 1);
    }

    SECTION ("chunk by chunk, unchanged, for WAV")
    {
        const WorkFolder folder;
        const auto ixml = text ("<?xml version=\"1.0\"?><!DOCTYPE a><BWFXML><TAPE>7</TAPE></BWFXML>");
        const auto file = folder.write ("a.wav",
                                        wavFile ({},
                                                 audio,
                                                 riffChunk ("JUNK", Bytes (10)) + riffChunk ("iXML", ixml)
                                                     + riffChunk ("abcd", { 1, 2, 3 })));
        const auto source = readSourceChunks (file);
        REQUIRE (source != nullptr);
        REQUIRE (source->chunks.size() == 2);
        CHECK (source->chunks[0].bytes == ixml);
        CHECK (source->chunks[1].id == std::array{ 'a', 'b', 'c', 'd' });
        CHECK (source->chunks[1].bytes == Bytes{ 1, 2, 3 });
    }
}
