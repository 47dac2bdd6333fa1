#include "model/LittleEndian.h"
#include "model/audiofile/AudioFileReaders.h"
#include "model/groupfile/TessivarFormatReader.h"
#include "tests/model/GroupFileBuilders.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

#if ! JUCE_WINDOWS
    #include <sys/stat.h>
#endif

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr auto least = std::numeric_limits<std::int64_t>::min(),
               most = std::numeric_limits<std::int64_t>::max();

std::unique_ptr<TessivarFormatReader> readerOf (const Bytes& bytes)
{
    return std::make_unique<TessivarFormatReader> (streamOn (bytes).release());
}

/** Reads into buffers of 9 frames that hold 7.0 before. */
std::vector<std::vector<float>>
framesOf (TessivarFormatReader& reader, int numChannels, std::int64_t start, int count, int destStart = 0)
{
    std::vector<std::vector<float>> buffers (static_cast<std::size_t> (numChannels),
                                             std::vector<float> (9, 7.0f));
    std::vector<int*> pointers;

    for (auto& buffer : buffers)
        pointers.push_back (reinterpret_cast<int*> (buffer.data()));

    REQUIRE (reader.readSamples (pointers.data(), numChannels, destStart, start, count));
    return buffers;
}

/** Collects what goes to the log while it lives. */
class Log final : public juce::Logger
{
public:
    Log() { setCurrentLogger (this); }
    ~Log() override { setCurrentLogger (nullptr); }
    void logMessage (const juce::String& message) override { text << message; }

    juce::String text;
};

/** Where the table of records begins. */
std::size_t recordsStart (const Bytes& file)
{
    const auto trailer = file.size() - 24;
    return trailer - littleEndian::readU32 (&file[trailer]) * 144;
}

/** What is made of a file by the reader that is strict and by the opener that is not. */
struct Reception
{
    bool isValid = false, isOpened = false;
    juce::String reason;
    LoadedGroup group;

    [[nodiscard]] juce::String notes() const { return group.notes.joinIntoString ("\n"); }
};

Reception receptionOf (const Bytes& bytes)
{
    WorkFolder folder;
    Reception reception;
    reception.isValid = readerOf (bytes)->isValid();
    const auto result = openGroupFile (folder.write ("x.dls", bytes), reception.group);
    reception.isOpened = result.wasOk();
    reception.reason = result.getErrorMessage();
    return reception;
}
} // namespace

TEST_CASE ("TessivarFormatReader", "[model][groupfile]")
{
    ForeignFile file;
    file.tracks.resize (2);
    file.tracks[0].samples = { 1.0f, 2.0f, 3.0f };
    file.tracks[0].metadata = { { text ("b"), text ("2") }, { text ("a"), {} } };
    file.tracks[1].isRendered = true;
    file.tracks[1].samples = numberedSamples (4, 7, 0);

    SECTION ("shows the first track, then the one that is selected")
    {
        auto reader = readerOf (file.encode());
        REQUIRE (reader->isValid());
        CHECK (reader->isMarked());
        CHECK (reader->getFormatName() == "DLS");
        CHECK (reader->numTracks() == 2);
        CHECK (reader->usesFloatingPointData);
        CHECK ((reader->numChannels == 1 && reader->lengthInSamples == 3 && reader->sampleRate == 44100.0));
        CHECK (reader->metadataValues.getAllKeys() == juce::StringArray ("b", "a"));
        CHECK (reader->metadataValues["b"] == "2");

        REQUIRE (reader->selectTrack (1));
        CHECK ((reader->numChannels == 7 && reader->lengthInSamples == 4));
        CHECK (reader->metadataValues.size() == 0);
        CHECK_FALSE ((reader->selectTrack (2) || reader->selectTrack (-1)));
        CHECK (reader->selectedTrack() == 1);
    }

    SECTION ("gives one channel as it is, and in several as the seventh with the others cleared")
    {
        auto reader = readerOf (file.encode());
        using Frames = std::vector<float>;
        CHECK (framesOf (*reader, 1, 0, 3, 1)[0] == Frames{ 7, 1, 2, 3, 7, 7, 7, 7, 7 });
        const auto spread = framesOf (*reader, 8, 1, 2);

        for (std::size_t i = 0; i < 8; ++i)
            CHECK (spread[i]
                   == (i == 6 ? Frames{ 2, 3, 7, 7, 7, 7, 7, 7, 7 } : Frames{ 0, 0, 7, 7, 7, 7, 7, 7, 7 }));

        CHECK (framesOf (*reader, 2, 0, 1)[0][0] == 0.0f);
    }

    SECTION ("gives zeros before the start and past the end, also far past it")
    {
        auto reader = readerOf (file.encode());
        using Frames = std::vector<float>;
        CHECK (framesOf (*reader, 1, -2, 8)[0] == Frames{ 0, 0, 1, 2, 3, 0, 0, 0, 7 });
        CHECK (framesOf (*reader, 1, 3, 2)[0] == Frames{ 0, 0, 7, 7, 7, 7, 7, 7, 7 });
        CHECK (framesOf (*reader, 1, most, 2)[0] == Frames{ 0, 0, 7, 7, 7, 7, 7, 7, 7 });
        CHECK (framesOf (*reader, 1, least, 2)[0] == Frames{ 0, 0, 7, 7, 7, 7, 7, 7, 7 });
        CHECK (framesOf (*reader, 1, (std::int64_t{ 1 } << 32) + 2, 2)[0][0] == 0.0f);
    }

    SECTION ("keeps the order of seven channels, and reads long stretches in pieces")
    {
        file.tracks[1].samples = numberedSamples (200000, 7, 0);
        auto reader = readerOf (file.encode());
        REQUIRE (reader->selectTrack (1));
        juce::AudioBuffer<float> buffer (7, 200000);
        REQUIRE (reader->read (buffer.getArrayOfWritePointers(), 7, 0, 200000));
        auto isSame = true;

        for (int i = 0; i < 200000 * 7; ++i)
            isSame =
                isSame
                && buffer.getSample (i % 7, i / 7) == file.tracks[1].samples[static_cast<std::size_t> (i)];

        CHECK (isSame);
    }

    SECTION ("notes in the log that a record is older than setting B")
    {
        Log log;
        CHECK (readerOf (file.encode())->isValid());
        CHECK (log.text.isEmpty());
        file.tracks[0].version = 1.0f;
        CHECK (readerOf (file.encode())->isValid());
        CHECK (log.text == "v1.0 dls\n");
        file.tracks[0].version = std::nanf ("");
        CHECK (readerOf (file.encode())->isValid());
        CHECK (log.text == "v1.0 dls\n");
    }

    SECTION ("reads files of version 1.2 without metadata, and files with another mark")
    {
        file.version = 1.2f;
        CHECK (readerOf (file.encode())->metadataValues.size() == 0);
        file.magic = Bytes (8, 0);
        CHECK (readerOf (file.encode())->isValid());
        CHECK_FALSE (readerOf (file.encode())->isMarked());
        file.magic = text ("SOMEBODY");
        CHECK (readerOf (file.encode())->isValid());
        CHECK (receptionOf (file.encode()).isOpened);
    }
}

TEST_CASE ("Numbers in a group file that can't be", "[model][groupfile]")
{
    ForeignFile file;
    file.tracks[0].metadata = { { text ("key"), text ("value") } };
    const auto sound = file.encode();
    const auto record = recordsStart (sound);
    const auto with = [&] (std::size_t place, const Bytes& number)
    {
        auto bytes = sound;
        overwrite (bytes, place, number);
        return receptionOf (bytes);
    };

    SECTION ("counts of tracks")
    {
        for (const auto count : { 0, 2, 24, 254, 255, 256, 65535 })
        {
            const auto reception = with (sound.size() - 24, u32 (count));
            CHECK_FALSE (reception.isValid);
            CHECK_FALSE (reception.isOpened);
        }

        CHECK (with (sound.size() - 24, u32 (255)).reason.contains ("255 tracks"));
        CHECK (with (sound.size() - 24, u32 (254)).reason.contains ("too short for 254 tracks"));
        file.tracks.clear();
        CHECK (receptionOf (file.encode()).isOpened);
        CHECK (receptionOf (file.encode()).isValid);
    }

    SECTION ("lengths of texts")
    {
        file.groupText = Bytes (8192, 'x');
        file.tracks[0].name = Bytes (8192, 'y');
        auto reception = receptionOf (file.encode());
        CHECK ((reception.isValid && reception.isOpened && ! reception.group.damaged));
        CHECK (reception.group.state.tracks[0].name.length() == 8192);

        for (const auto length : { std::int64_t{ -1 }, std::int64_t{ 8193 }, least, most })
        {
            CHECK_FALSE (with (record - 4 - 8, u64 (length)).isOpened);
            reception = with (record + 24, u64 (length));
            CHECK_FALSE (reception.isValid);
            CHECK ((reception.isOpened && reception.group.damaged));
            CHECK (reception.group.state.tracks[0].name == "Track 1");
            CHECK (reception.notes().contains ("track 1: its name claims"));
        }
    }

    SECTION ("places of audio and texts")
    {
        const auto size = static_cast<std::int64_t> (sound.size());

        for (const auto place : { std::int64_t{ -1 }, size, size + 1, most - 3, most, least })
        {
            auto reception = with (record + 0, u64 (place));
            CHECK_FALSE (reception.isValid);
            CHECK ((reception.isOpened && reception.group.damaged));
            CHECK (reception.group.state.tracks[0].source == nullptr);
            CHECK (reception.group.state.tracks[0].lengthInSamples() == 0);
            CHECK (reception.notes().contains ("track 1: its audio"));

            CHECK_FALSE (with (record + 16, u64 (place)).isValid);
            CHECK (with (record + 88, u64 (place)).isValid == false);
        }

        // Over each other and over the tables is odd, but harms nobody.
        CHECK (with (record + 0, u64 (size - 12)).isValid);
        CHECK (with (record + 0, u64 (size - 11)).isValid == false);
    }

    SECTION ("lengths of audio")
    {
        for (const auto length :
             { std::int64_t{ -1 }, most, most / 4, most / 28 + 1, least, std::int64_t{ 1 } << 62 })
            for (const auto channels : { 0, 1 })
            {
                auto bytes = sound;
                overwrite (bytes, record + 48, u64 (length));
                bytes[record + 116] = static_cast<std::uint8_t> (channels);
                const auto reception = receptionOf (bytes);
                CHECK_FALSE (reception.isValid);
                CHECK ((reception.isOpened && reception.group.damaged));
            }
    }

    SECTION ("counts and lengths of metadata")
    {
        const auto end = static_cast<std::size_t> (littleEndian::readI64 (&sound[record + 88]));

        for (const auto number :
             { std::int64_t{ -1 }, std::int64_t{ 2 }, std::int64_t{ 1 } << 40, most, least })
            for (const auto place : { end - 8, end - 16 })
            {
                const auto reception = with (place, u64 (number));
                CHECK_FALSE (reception.isValid);
                CHECK ((reception.isOpened && reception.group.damaged));
                CHECK (reception.notes().contains ("track 1: its metadata"));
            }

        // A thousand marks of a recording are read; keys that would take minutes to compare are not.
        file.tracks[0].metadata.clear();

        for (int i = 0; i < 6000; ++i)
            file.tracks[0].metadata.emplace_back (
                text ("Cue" + std::to_string (i / 6) + "Field" + std::to_string (i % 6)), text ("0"));

        CHECK (receptionOf (file.encode()).group.state.tracks[0].sourceInfo.metadata.size() == 6000);

        for (auto& [key, value] : file.tracks[0].metadata)
            key = Bytes (100, 'k') + key;

        CHECK_FALSE (receptionOf (file.encode()).isValid);
    }

    SECTION ("knobs, types and versions")
    {
        const auto nan = std::nanf (""), infinite = std::numeric_limits<float>::infinity();

        for (const auto value : { nan, infinite, -infinite, -1.0f })
        {
            auto bytes = sound;

            for (const auto at : { 68u, 72u, 76u, 80u, 84u, 96u })
                overwrite (bytes, record + at, f32 (value));

            const auto reception = receptionOf (bytes);
            REQUIRE (reception.isOpened);

            for (const auto setting : { KnobSetting::a, KnobSetting::b })
            {
                const auto knobs = reception.group.state.tracks[0].record.knobs (setting);
                CHECK (
                    (knobs.focus >= 0.0f && knobs.focus <= 5.0f && knobs.fine >= 0.0f && knobs.fine <= 1.0f));
            }
        }

        for (const auto code : { std::int64_t{ 0 }, std::int64_t{ 3 }, std::int64_t{ 0xffffffff } })
            CHECK (with (record + 104, u32 (code)).group.state.tracks[0].drumType() == DrumType::other);
    }

    SECTION ("samples that are no numbers are silence")
    {
        file.tracks[0].samples = { std::nanf (""), std::numeric_limits<float>::infinity(), 0.5f };
        CHECK (savedSamplesOf (receptionOf (file.encode()).group.state.tracks[0])
               == std::vector<float>{ 0.0f, 0.0f, 0.5f });
    }

    SECTION ("names are texts, whatever they hold")
    {
        const auto nameOf = [&] (const Bytes& name)
        {
            file.tracks[0].name = name;
            return receptionOf (file.encode()).group.state.tracks[0].name;
        };
        CHECK (nameOf (text ("../../etc/passwd")) == "../../etc/passwd");
        CHECK (nameOf ({ 'a', 0, 'b' }) == "a");
        CHECK (nameOf ({ 'T', 0xf6, 'm' }) == juce::CharPointer_UTF8 ("T\xc3\xb6m"));
        CHECK (nameOf ({ 0xc3 }) == juce::CharPointer_UTF8 ("\xc3\x83"));
        CHECK (nameOf ({ 0xc0, 0x83 }) == juce::CharPointer_UTF8 ("\xc3\x80\xc2\x83"));
        CHECK (nameOf ({}) == "Track 1");
    }
}

TEST_CASE ("Files that are no group files", "[model][groupfile]")
{
    WorkFolder folder;
    const auto reasonFor = [&] (const Bytes& bytes)
    {
        LoadedGroup group;
        const auto file = folder.write ("x.dls", bytes);
        const auto result = openGroupFile (file, group);
        CHECK (result.failed());
        CHECK (result.getErrorMessage().startsWith (file.getFullPathName() + ": "));
        return result.getErrorMessage().fromFirstOccurrenceOf (": ", false, false);
    };

    SECTION ("are told what they are")
    {
        CHECK (reasonFor ({}) == "the file is empty");
        CHECK (reasonFor (text ("RIFF") + u32 (200) + text ("DLS ") + Bytes (200, 1))
                   .contains ("instrument sounds"));
        CHECK (reasonFor (text ("RIFF") + u32 (200) + text ("WAVE") + Bytes (200, 1))
                   .contains ("an audio file"));
        CHECK (reasonFor (text ("short")).contains ("too short"));
        CHECK_FALSE (readerOf (text ("short"))->isValid());

        for (std::size_t size = 1; size < 400; ++size)
            reasonFor (Bytes (size, 0));
    }

    SECTION ("or are no files")
    {
        LoadedGroup group;
        CHECK (openGroupFile (folder.file ("none.dls"), group)
                   .getErrorMessage()
                   .contains (SystemError (SystemError::Kind::notFound).text()));
        CHECK (openGroupFile (folder.folder, group).getErrorMessage().contains ("is a folder"));
#if ! JUCE_WINDOWS
        const auto pipe = folder.file ("pipe.dls");
        REQUIRE (::mkfifo (pipe.getFullPathName().toRawUTF8(), 0600) == 0);
        CHECK (openGroupFile (pipe, group).getErrorMessage().contains ("no regular file"));
        const juce::File longest ("/" + juce::String::repeatedString ("a", 4096));
        CHECK (openGroupFile (longest, group).getErrorMessage().contains ("too long"));
#endif
    }
}

TEST_CASE ("A group file among the audio files", "[model][groupfile][readers]")
{
    auto group = smallGroup (20000);
    std::stable_partition (group.tracks.begin(),
                           group.tracks.end(),
                           [] (const TrackState& track) { return track.rendered == nullptr; });
    const WorkFolder folder;
    const auto file = folder.file ("take.dls");
    const auto inFile = saved (group, file);
    auto why = juce::Result::ok();
    const auto reader = openAudioFile (file, why);
    INFO (why.getErrorMessage());
    REQUIRE (reader != nullptr);
    CHECK (reader->getFormatName() == "DLS");
    CHECK (reader->sampleRate == group.sampleRate());
    CHECK (reader->numChannels == 1);

    const auto expected = savedSamplesOf (group.tracks[0]);
    juce::AudioBuffer<float> buffer (1, static_cast<int> (expected.size()));
    REQUIRE (reader->read (&buffer, 0, buffer.getNumSamples(), 0, true, false));
    CHECK (std::equal (expected.begin(), expected.end(), buffer.getReadPointer (0)));
}
