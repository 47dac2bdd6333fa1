#include "jobs/ExportTracks.h"

#include "jobs/AudioFileChunks.h"
#include "jobs/ExportSignals.h"
#include "jobs/MonoFileWriter.h"
#include "model/audiofile/ChunkReading.h"
#include "terms/ChannelLayout.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"
#include "tests/jobs/JobFixtures.h"
#include "tests/support/WhicheverCallFails.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <tuple>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr std::int64_t length = 20000; // more than one block, no multiple of it

juce::AudioFormat& formatFor (const juce::File& file)
{
    static juce::WavAudioFormat wav;
    static juce::AiffAudioFormat aiff;
    return exportFileTypeFor (file.getFileExtension()) == ExportFileType::wav
               ? static_cast<juce::AudioFormat&> (wav)
               : static_cast<juce::AudioFormat&> (aiff);
}

/** A file of noise up to full scale, both ends of the scale included. */
void writeSource (const juce::File& file, int bits, int numChannels = 1)
{
    juce::AudioBuffer<float> audio (numChannels, static_cast<int> (length));

    for (int c = 0; c < numChannels; ++c)
    {
        const auto samples = noise (length, static_cast<std::uint32_t> (c + bits), 1.0f);
        audio.copyFrom (c, 0, samples.data(), static_cast<int> (length));
        audio.setSample (c, 0, 1.0f);
        audio.setSample (c, 1, -1.0f);
    }

    REQUIRE (file.getParentDirectory().createDirectory().wasOk());
    file.deleteFile(); // a stream would append to it
    auto stream = file.createOutputStream();
    REQUIRE (stream != nullptr);
    std::unique_ptr<juce::AudioFormatWriter> writer (formatFor (file).createWriterFor (
        stream.release(), 48000.0, static_cast<unsigned int> (numChannels), bits, {}, 0));
    REQUIRE (writer->writeFromAudioSampleBuffer (audio, 0, audio.getNumSamples()));
}

/** The samples of the first channel as the reader's integers, floats as their bits. */
std::vector<int> rawSamples (const juce::File& file)
{
    std::unique_ptr<juce::AudioFormatReader> reader (
        formatFor (file).createReaderFor (file.createInputStream().release(), true));
    REQUIRE (reader != nullptr);
    std::vector<int> samples (static_cast<std::size_t> (reader->lengthInSamples));
    auto* channel = samples.data();
    REQUIRE (reader->read (&channel, 1, 0, static_cast<int> (samples.size()), false));
    return samples;
}

std::vector<TrackState> imported (const juce::File& file, TemporaryStore& store)
{
    ImportWarnings warnings;
    auto intake = importFile (file, 0.0, warnings, &store);
    INFO (intake.outcome.reason);
    REQUIRE (intake.accepted());
    std::vector<TrackState> tracks;

    for (auto& track : intake.tracks)
        tracks.push_back (std::move (track.state));

    return tracks;
}

/** Gives a track seven channels as an analysis would: five components of noise, the residual, the source. */
void process (TrackState& track, TemporaryStore& store, float componentLevel = 0.3f)
{
    const auto source = samplesOf (*track.source);
    std::vector<float> frames;

    for (std::size_t i = 0; i < source.size(); ++i)
    {
        auto residual = source[i];

        for (std::size_t c = 0; c < 5; ++c)
        {
            frames.push_back (componentLevel * std::sin (static_cast<float> ((c + 2) * i) * 0.1f));
            residual -= frames.back();
        }

        frames.push_back (residual);
        frames.push_back (source[i]);
    }

    track.record.setDrumType (DrumType::snare);
    track.rendered = storedTrack (store, frames, channelLayout::numRendered);
}

/** A small WAV file with chunks of a field recorder, a text tool and an unknown program ahead of its audio.
*/
std::vector<MetadataChunk> writeSourceWithMetadata (const juce::File& file)
{
    const auto chunk = [] (const char* id, std::size_t size, int seed)
    {
        MetadataChunk made;
        std::copy_n (id, 4, made.id.begin());

        for (std::size_t i = 0; i < size; ++i)
            made.bytes.push_back (static_cast<std::uint8_t> (i * 7 + static_cast<std::size_t> (seed)));

        return made;
    };

    std::vector<MetadataChunk> chunks{ chunk ("bext", 700, 1), chunk ("iXML", 33, 2), chunk ("zzzz", 5, 3) };

    // One marker, with id 9 at sample 1234, and its label.
    juce::MemoryOutputStream cue, label;
    for (const auto number : { 1, 9, 0, 0x61746164, 0, 0, 1234 })
        cue.writeInt (number);
    label << "adtllabl";
    label.writeInt (4 + 6);
    label.writeInt (9);
    label.write ("verse", 6);
    for (const auto* part : { &cue, &label })
    {
        MetadataChunk made;
        std::copy_n (part == &cue ? "cue " : "LIST", 4, made.id.begin());
        const auto block = part->getMemoryBlock();
        made.bytes.assign (block.begin(), block.end());
        chunks.push_back (made);
    }

    MonoFilePlan plan;
    plan.format = { 24, false, {} };
    plan.sampleRate = 48000.0;
    plan.lengthInSamples = length;
    plan.metadata = chunks;
    MonoFileWriter writer (file, plan, FileSystemCalls::system());
    REQUIRE (writer.openFile().wasOk());
    REQUIRE (writer.createWriter().wasOk());
    REQUIRE (writer.write (noise (length, 5)).wasOk());
    const auto finished = writer.finish();
    INFO (finished.getErrorMessage());
    REQUIRE (finished.wasOk());
    REQUIRE (writer.commit (AtomicFile::IfTargetExists::replace).wasOk());
    return chunks;
}

std::vector<MetadataChunk> chunksOf (const juce::File& file, ExportFileType type)
{
    const auto chunks = readSourceChunks (file);
    REQUIRE (chunks != nullptr);
    CHECK ((chunks->container == SourceChunks::Container::wav) == (type == ExportFileType::wav));
    return chunks->chunks;
}

juce::String idsOf (const std::vector<MetadataChunk>& chunks)
{
    juce::StringArray ids;

    for (const auto& chunk : chunks)
        ids.add (juce::String (chunk.id.data(), 4));

    return ids.joinIntoString ("|");
}
} // namespace

TEST_CASE ("Export names and formats", "[jobs][export]")
{
    TrackState track;
    track.sourceInfo.file = juce::File ("/takes/Kick in.WAV");

    SECTION ("a name tells the channel and whether the track is processed")
    {
        CHECK (exportFileName (track, ".wav") == "Kick in.wav");
        track.rendered = std::make_shared<ChannelOfSamples> (nullptr, 0);
        track.record.setDrumType (DrumType::kick);
        CHECK (exportFileName (track, ".aif") == "Kick in_Processed.aif");
        track.sourceInfo.numChannels = 2;
        CHECK (exportFileName (track, ".wav") == "Kick in_L_Processed.wav");
        track.sourceInfo.channel = 1;
        CHECK (exportFileName (track, ".wav") == "Kick in_R_Processed.wav");
        track.excluded = true;
        CHECK (exportFileName (track, ".wav") == "Kick in_R.wav");
    }

    SECTION ("no two tracks share a name, nor does one exceed what a file system takes")
    {
        std::vector<TrackState> tracks (4);
        tracks[0].sourceInfo.file = juce::File ("/a/~kick.wav");
        tracks[1].sourceInfo.file = juce::File ("/b/~Kick.wav");
        tracks[2].sourceInfo.file = juce::File ("/c/~Kick.aiff");
        const auto longName = juce::String::repeatedString (juce::String::fromUTF8 ("\xc3\xb6"), 125);
        tracks[3].sourceInfo.file = juce::File ("/d/" + longName + ".wav");
        tracks[3].record.setDrumType (DrumType::kick);

        const auto files = planExport (
            tracks, { .folder = juce::File ("/out"), .extension = ".wav" }, PlannedFor::tracksOnceAnalysed);
        CHECK (files[0].file.getFullPathName() == "/out/~kick.wav");
        CHECK (files[0].note.isEmpty());
        CHECK (files[1].file.getFullPathName() == "/out/~Kick_2.wav");
        CHECK (files[1].note == "Numbered: another track has the name ~Kick.wav.");
        CHECK (files[2].file.getFullPathName() == "/out/~Kick_3.wav");
        CHECK (files[3].file.getFileName().getNumBytesAsUTF8() <= 255);
        CHECK (files[3].file.getFileName().endsWith (juce::String::fromUTF8 ("\xc3\xb6_Processed.wav")));
        CHECK (files[3].note.startsWith ("Name shortened"));
    }

    SECTION ("a track that knows no source file goes by its own name, as far as files can")
    {
        std::vector<TrackState> tracks (4);
        tracks[0].name = "Snare / Top\n";
        tracks[1].name = "Kick";
        tracks[2].name = "../..";
        tracks[3].name = "Kick";
        tracks[3].sourceInfo.file = juce::File ("/takes/Kick in.WAV");
        juce::StringArray names;

        for (const auto& planned :
             planExport (tracks, { .folder = juce::File ("/out"), .extension = ".wav" }))
            names.add (planned.file.getRelativePathFrom (juce::File ("/out")));

        CHECK (names == juce::StringArray{ "Snare  Top.wav", "Kick.wav", "Track.wav", "Kick in.wav" });
    }

    SECTION ("the extension chooses the type, the source and the type choose the depth")
    {
        CHECK (exportFileTypeFor (".AIF") == ExportFileType::aiff);
        CHECK (exportFileTypeFor ("aiff") == ExportFileType::aiff);
        CHECK (exportFileTypeFor (".flac") == ExportFileType::wav);

        struct Case
        {
            int bits;
            bool isFloat;
            int wavBits, aiffBits;
        };

        for (const auto& [bits, isFloat, wavBits, aiffBits] : { Case{ 8, false, 8, 8 },
                                                                Case{ 12, false, 16, 16 },
                                                                Case{ 16, false, 16, 16 },
                                                                Case{ 20, false, 24, 24 },
                                                                Case{ 24, false, 24, 24 },
                                                                Case{ 32, false, 32, 24 },
                                                                Case{ 32, true, 32, 24 },
                                                                Case{ 64, true, 32, 24 } })
        {
            INFO (bits << (isFloat ? " bit float" : " bit"));
            const auto wav = exportSampleFormatFor (bits, isFloat, ExportFileType::wav);
            const auto aiff = exportSampleFormatFor (bits, isFloat, ExportFileType::aiff);
            CHECK (wav.bitsPerSample == wavBits);
            CHECK (wav.isFloatingPoint == (wavBits == 32));
            CHECK (wav.note.isEmpty() == (wavBits == bits && wav.isFloatingPoint == isFloat));
            CHECK (aiff.bitsPerSample == aiffBits);
            CHECK_FALSE (aiff.isFloatingPoint);
            CHECK (aiff.note.isEmpty() == (aiffBits == bits));
        }
    }

    SECTION ("WAV becomes RF64 and AIFF is refused at 4 GB")
    {
        MonoFilePlan plan;
        plan.format = { 32, true, {} };
        plan.lengthInSamples = (1ll << 30) - 1;
        CHECK_FALSE (plan.needsRf64());
        plan.lengthInSamples += 1;
        CHECK (plan.needsRf64());
        CHECK (plan.check().wasOk());
        CHECK (plan.fileBytes() == (1ull << 32) + 104);

        plan.type = ExportFileType::aiff;
        plan.format = { 16, false, {} };
        CHECK (plan.check().wasOk());
        plan.lengthInSamples *= 2;
        CHECK (plan.check().getErrorMessage().contains (juce::String (plan.fileBytes())));
    }

    SECTION ("samples are rounded to the nearest step, and only what is lost counts as clipped")
    {
        // 8 bit: 128 steps up to full scale.
        const std::vector<float> samples{ 0.49f / 128, 0.51f / 128, -0.51f / 128, 1.0f,
                                          1.01f,       -1.0f,       -1.01f,       NAN };
        std::vector<int> steps (samples.size());
        CHECK (quantise (samples, 8, steps) == 2);

        for (auto& step : steps)
            step /= 1 << 24;

        CHECK (steps == std::vector<int>{ 0, 1, -1, 127, 127, -128, -128, 0 });
    }
}

TEST_CASE ("exportTracks", "[jobs][export]")
{
    WorkFolder work;
    auto store = openStore (work.file ("store"));
    const auto source = work.file ("in/Snare.wav");
    ExportOptions options{ .folder = work.file ("out") };

    SECTION ("gives every source back bit by bit at focus 0 and at fine 1")
    {
        for (const auto* name :
             { "s8.wav", "s16.wav", "s24.wav", "f32.wav", "s8.aiff", "s16.aiff", "s24.aiff" })
        {
            INFO (name);
            const auto file = work.file ("in").getChildFile (name);
            const auto bits = juce::String (name).retainCharacters ("0123456789").getIntValue();
            writeSource (file, bits);
            auto tracks = imported (file, *store);
            process (tracks[0], *store);
            options.extension = file.getFileExtension();
            options.overwrite = true;

            for (const auto setting : { KnobValues{}, KnobValues{ 4.2f, 1.0f } })
            {
                tracks[0].record.setKnobs (KnobSetting::a, setting);
                const auto report = exportTracks (tracks, options);
                REQUIRE (report.errors.joinIntoString ("\n") == "");
                const auto& result = report.tracks[0];
                CHECK (result.file.getFileNameWithoutExtension()
                       == file.getFileNameWithoutExtension() + "_Processed");
                CHECK (result.bytes == static_cast<std::uint64_t> (result.file.getSize()));
                CHECK (result.clippedSamples == 0);
                CHECK (result.removedDb == 0.0);
                CHECK (rawSamples (result.file) == rawSamples (file));
            }
        }
    }

    SECTION ("renders by the knobs, counts what clips and says what was removed")
    {
        writeSource (source, 16);
        auto tracks = imported (source, *store);
        process (tracks[0], *store, 1.25f);
        tracks[0].record.setKnobs (KnobSetting::a, { 5.0f, 0.0f });
        const auto report = exportTracks (tracks, options);
        REQUIRE (report.outcome.isOk());

        // Focus 5 leaves the best component alone.
        const auto written = rawSamples (report.tracks[0].file);
        double energy = 0.0, sourceEnergy = 0.0;
        std::int64_t clipped = 0;

        for (std::size_t i = 0; i < written.size(); ++i)
        {
            const auto expected = 1.25f * std::sin (static_cast<float> (2 * i) * 0.1f);
            energy += static_cast<double> (expected) * static_cast<double> (expected);
            clipped += std::abs (expected) > 1.0f + 0.5f / 32768 ? 1 : 0;
            REQUIRE (written[i] / 65536
                     == std::clamp (static_cast<int> (std::nearbyint (expected * 32768.0f)), -32768, 32767));
        }

        for (const auto sample : samplesOf (*tracks[0].source))
            sourceEnergy += static_cast<double> (sample) * static_cast<double> (sample);

        CHECK (report.tracks[0].clippedSamples == clipped);
        CHECK (report.tracks[0].peak == Approx (1.25f).epsilon (1.0e-3));
        CHECK (report.tracks[0].removedDb
               == Approx (10.0 * std::log10 (energy / sourceEnergy)).margin (1.0e-6));
        REQUIRE (report.log().size() == 1);
        CHECK (report.log()[0]
               == "Snare_Processed.wav - " + juce::String (clipped) + " samples clipped, peak 1.94 dBFS.");
    }

    SECTION ("writes 32-bit float on request, with nothing rounded or clipped, where the type can hold it")
    {
        writeSource (source, 16);
        auto tracks = imported (source, *store);
        process (tracks[0], *store, 1.25f);
        tracks[0].record.setKnobs (KnobSetting::a, { 5.0f, 0.0f });
        options.depth = ExportDepth::float32;
        auto report = exportTracks (tracks, options);
        REQUIRE (report.outcome.isOk());
        CHECK (report.tracks[0].clippedSamples == 0);
        CHECK (report.log().isEmpty());
        const auto written = rawSamples (report.tracks[0].file);
        std::vector<float> expected (written.size());
        REQUIRE (signalOf (tracks[0])->read (0, expected).wasOk());
        CHECK (std::memcmp (written.data(), expected.data(), expected.size() * sizeof (float)) == 0);

        options.extension = ".aiff";
        report = exportTracks (tracks, options);
        REQUIRE (report.outcome.isOk());
        CHECK (report.tracks[0].format.bitsPerSample == 16);
        CHECK (report.log()[0].contains ("AIFF can't hold 32-bit float: written as 16 bit."));
    }

    SECTION ("writes both channels of a file as mono files of their own, and unprocessed tracks as they are")
    {
        writeSource (source, 24, 2);
        auto tracks = imported (source, *store);
        REQUIRE (tracks.size() == 2);
        const auto report = exportTracks (tracks, options);
        REQUIRE (report.outcome.isOk());
        CHECK (report.tracks[0].file == work.file ("out/Snare_L.wav"));
        CHECK (report.tracks[1].file == work.file ("out/Snare_R.wav"));
        CHECK (rawSamples (report.tracks[0].file) == rawSamples (source));
        CHECK (rawSamples (report.tracks[1].file) != rawSamples (source));
    }

    SECTION ("writes component signals as float files")
    {
        writeSource (source, 16);
        auto tracks = imported (source, *store);
        const auto components = noise (10 * length, 7, 2.0f);
        tracks[0].components = stored (*store, components);
        const auto report = exportComponents (tracks, options);
        REQUIRE (report.outcome.isOk());
        REQUIRE (report.componentFiles.size() == 10);
        CHECK (report.componentFiles[9] == work.file ("out/Snare_Component10.wav"));
        const auto written = rawSamples (work.file ("out/Snare_Component03.wav"));
        CHECK (std::memcmp (written.data(), &components[2 * length], length * sizeof (float)) == 0);
    }

    SECTION ("passes metadata on byte for byte, and translates only what the other type has a place for")
    {
        source.getParentDirectory().createDirectory();
        const auto chunks = writeSourceWithMetadata (source);
        auto tracks = imported (source, *store);
        auto report = exportTracks (tracks, options);
        REQUIRE (report.outcome.isOk());
        const auto same = chunksOf (report.tracks[0].file, ExportFileType::wav);
        REQUIRE (idsOf (same) == "bext|iXML|zzzz|cue |LIST");

        for (std::size_t i = 0; i < same.size(); ++i)
            CHECK (same[i].bytes == chunks[i].bytes);

        options.extension = ".aiff";
        report = exportTracks (tracks, options);
        REQUIRE (report.outcome.isOk());
        CHECK (report.log().joinIntoString ("\n")
               == "Snare.aiff - AIFF has no place for this metadata of the source: bext, iXML, zzzz.");
        const auto aiff = chunksOf (report.tracks[0].file, ExportFileType::aiff);
        REQUIRE (idsOf (aiff) == "MARK");
        const std::string_view marker ("\0\1\0\1\0\0\4\xd2\5verse", 14);
        CHECK (std::string_view (reinterpret_cast<const char*> (aiff[0].bytes.data()), aiff[0].bytes.size())
               == marker);

        // And back again: the marker returns, nothing comes along.
        tracks = imported (report.tracks[0].file, *store);
        options.folder = work.file ("back");
        options.extension = ".wav";
        report = exportTracks (tracks, options);
        REQUIRE (report.outcome.isOk());
        const auto back = chunksOf (report.tracks[0].file, ExportFileType::wav);
        REQUIRE (idsOf (back) == "cue |LIST");
        CHECK (back[0].bytes[24] == 0xd2);

        // A source without metadata gets none.
        writeSource (source, 16);
        tracks = imported (source, *store);
        options.folder = work.file ("plain");
        CHECK (chunksOf (exportTracks (tracks, options).tracks[0].file, ExportFileType::wav).empty());
    }

    SECTION ("replaces files only when told to, and says so")
    {
        writeSource (source, 16);
        auto tracks = imported (source, *store);
        const auto target = work.file ("out/Snare.wav");
        REQUIRE (target.create().wasOk());
        REQUIRE (target.replaceWithText ("old"));

        auto report = exportTracks (tracks, options);
        CHECK_FALSE (report.tracks[0].isWritten());
        CHECK (report.errors[0].startsWith (target.getFullPathName() + ": "));
        CHECK (target.loadFileAsString() == "old");

        options.overwrite = true;
        report = exportTracks (tracks, options);
        CHECK (report.outcome.isOk());
        CHECK (report.log()[0] == "Snare.wav - File already exists - Overwritting.");
        CHECK (rawSamples (target) == rawSamples (source));
    }

    SECTION ("never replaces a source, whatever way leads to it; the other tracks go on")
    {
        const auto other = work.file ("in/Tom.wav");
        writeSource (source, 16);
        writeSource (other, 16);
        auto tracks = imported (source, *store);
        tracks.push_back (imported (other, *store)[0]);
        process (tracks[1], *store);
        const auto before = rawSamples (source);

        REQUIRE (source.getParentDirectory().createSymbolicLink (work.file ("link"), false));
        options.folder = work.file ("link");
        options.overwrite = true;
        const auto report = exportTracks (tracks, options);
        CHECK_FALSE (report.tracks[0].isWritten());
        CHECK (juce::String (report.tracks[0].outcome.reason).contains ("source file"));
        CHECK (report.tracks[1].isWritten());
        CHECK (rawSamples (source) == before);
        CHECK (work.file ("in/Tom_Processed.wav").existsAsFile());
        CHECK (work.file ("in").getNumberOfChildFiles (juce::File::findFiles) == 3);
    }

    SECTION ("never replaces a group file in use, nor one result by another, by links of any kind")
    {
        writeSource (source, 16);
        writeSource (work.file ("in/Tom.wav"), 16);
        auto tracks = imported (source, *store);
        tracks.push_back (imported (work.file ("in/Tom.wav"), *store)[0]);
        const auto group = work.file ("take.dls"), first = work.file ("out/Snare.wav"),
                   second = work.file ("out/Tom.wav");
        REQUIRE (group.replaceWithText ("group"));
        REQUIRE (first.getParentDirectory().createDirectory().wasOk());
        options.overwrite = true;
        OutputRules rules;
        rules.protectGroupFile (group);
        options.rules = &rules;

        SECTION ("a hard link to the group file")
        {
            REQUIRE (::link (group.getFullPathName().toRawUTF8(), first.getFullPathName().toRawUTF8()) == 0);
            const auto report = exportTracks (tracks, options);
            CHECK (juce::String (report.tracks[0].outcome.reason).contains ("group file in use"));
            CHECK (report.tracks[1].isWritten());
            CHECK (first.loadFileAsString() == "group");
        }

        for (const auto exists : { false, true })
            DYNAMIC_SECTION ("a name that leads to the file of the track before, which exists: " << exists)
            {
                if (exists)
                    REQUIRE (first.replaceWithText ("old"));

                REQUIRE (first.createSymbolicLink (second, false));
                const auto report = exportTracks (tracks, options);
                CHECK (report.tracks[0].isWritten());
                CHECK (juce::String (report.tracks[1].outcome.reason).contains ("two results"));
                CHECK (rawSamples (first) == rawSamples (source));
            }
    }

    SECTION ("a stop leaves complete files and nothing half-written")
    {
        writeSource (source, 16);
        auto tracks = imported (source, *store);
        tracks.push_back (tracks[0]);
        const auto target = work.file ("out/Snare_2.wav");
        REQUIRE (target.create().wasOk());
        options.overwrite = true;

        for (int stopAt = 1;; ++stopAt)
        {
            work.file ("out/Snare.wav").deleteFile();
            REQUIRE (target.replaceWithText ("old"));
            int asked = 0;
            double last = 0.0;
            auto rises = true;
            const auto report = exportTracks (tracks,
                                              options,
                                              { .shouldStop = [&] { return ++asked == stopAt; },
                                                .setProgress =
                                                    [&] (double value)
                                                {
                                                    rises = rises && value >= last && value <= 1.0;
                                                    last = value;
                                                } });
            INFO ("stopped at " << stopAt);
            CHECK (rises);

            if (! report.outcome.wasStopped())
            {
                CHECK (stopAt > 4);
                CHECK (last == 1.0);
                break;
            }

            const auto firstIsComplete = report.tracks[0].isWritten();
            CHECK (work.file ("out/Snare.wav").existsAsFile() == firstIsComplete);
            CHECK (target.loadFileAsString() == "old");
            CHECK (work.file ("out").getNumberOfChildFiles (juce::File::findFiles)
                   == (firstIsComplete ? 2 : 1));
            CHECK (report.errors.isEmpty());
        }
    }

    SECTION ("tells and writes the same by any number of threads, and is stopped by any of them")
    {
        std::vector<TrackState> tracks;

        for (int i = 0; i < 7; ++i)
        {
            const auto file = work.file ("in/" + juce::String (i) + ".wav");
            writeSource (file, i % 2 == 0 ? 24 : 32);
            tracks.push_back (imported (file, *store)[0]);
        }

        for (const auto i : { 1u, 4u, 5u })
        {
            process (tracks[i], *store, 0.6f); // clips
            tracks[i].record.setKnobs (KnobSetting::a, { 3.0f, 0.0f });
        }

        tracks[2].source = nullptr; // lost

        const auto longer = noise (600000, 3); // several threads compute parts of it
        tracks[6].source = storedTrack (*store, longer);
        tracks[6].record.setLengthInSamples (600000);
        tracks[6].sourceInfo.bitsPerSample = 32;
        tracks[6].sourceInfo.isFloatingPoint = true;
        const auto exported = [&] (int numThreads, const juce::String& name, int stopAt)
        {
            options.folder = work.file (name);
            REQUIRE (options.folder.createDirectory().wasOk());
            REQUIRE (options.folder.getChildFile ("3.wav").replaceWithText ("old")); // not replaced
            options.numThreads = numThreads;
            std::atomic<int> asked{ 0 };
            return exportTracks (tracks, options, { [&] { return ++asked == stopAt; }, {} });
        };
        const auto one = exported (1, "one", 0);
        REQUIRE (one.errors.size() == 2);
        const auto bits = rawSamples (one.tracks[6].file);
        REQUIRE (bits.size() == longer.size());
        CHECK (std::memcmp (bits.data(), longer.data(), bits.size() * sizeof (float)) == 0);

        for (const int numThreads : { 2, 3, 16 })
        {
            const auto several = exported (numThreads, juce::String (numThreads), 0);
            CHECK (several.log() == one.log());
            CHECK (several.outcome.end == one.outcome.end);
            REQUIRE (several.errors.size() == 2);
            CHECK (several.errors[0] == one.errors[0]);

            for (std::size_t i = 0; i < tracks.size(); ++i)
            {
                const auto& ofOne = one.tracks[i];
                const auto& result = several.tracks[i];
                CHECK (result.file == options.folder.getChildFile (ofOne.file.getFileName()));
                CHECK (std::tuple (result.isWritten(), result.peak, result.clippedSamples, result.removedDb)
                       == std::tuple (ofOne.isWritten(), ofOne.peak, ofOne.clippedSamples, ofOne.removedDb));
                CHECK (result.file.exists() == ofOne.file.exists());
                CHECK ((! ofOne.file.exists() || result.file.hasIdenticalContentTo (ofOne.file)));
            }
        }

        for (int stopAt = 1; stopAt < 12; ++stopAt)
        {
            const auto stopped = exported (3, "stopped " + juce::String (stopAt), stopAt);
            CHECK (stopped.outcome.wasStopped());
            const auto numWritten = std::ranges::count_if (stopped.tracks, &TrackExport::isWritten);
            CHECK (options.folder.getNumberOfChildFiles (juce::File::findFiles) == numWritten + 1);
        }
    }

    SECTION ("whichever call fails, the old file is whole, the failure is told and no other file remains")
    {
        writeSource (source, 24);
        auto tracks = imported (source, *store);
        process (tracks[0], *store);
        tracks[0].record.setKnobs (KnobSetting::a, { 3.0f, 0.0f });
        const auto target = work.file ("out/Snare_Processed.wav");
        REQUIRE (target.create().wasOk());
        options.overwrite = true;

        whicheverCallFails (
            1,
            [&] (FaultyCalls& calls)
            {
                REQUIRE (target.replaceWithText ("old"));
                options.calls = &calls;
                const auto report = exportTracks (tracks, options);
                REQUIRE (target.getParentDirectory().getNumberOfChildFiles (juce::File::findFiles) == 1);

                if (report.outcome.isOk() || calls.failedAfterRename())
                    REQUIRE (rawSamples (target).size() == static_cast<std::size_t> (length));
                else
                    REQUIRE (target.loadFileAsString() == "old");

                if (! report.outcome.isOk())
                {
                    REQUIRE (report.errors.size() == 1);
                    REQUIRE (report.errors[0].contains (target.getFullPathName()));
                    REQUIRE (report.log()[report.log().size() - 1].startsWith (
                        "Snare_Processed.wav - Failed to "));
                }
            });
    }

    SECTION ("says what is wrong with the folder or the name")
    {
        writeSource (source, 16);
        auto tracks = imported (source, *store);
        const auto errorOf = [&]
        {
            const auto report = exportTracks (tracks, options);
            REQUIRE (report.errors.size() == 1);
            CHECK (report.log().joinIntoString ("\n") == "Snare.wav - Failed to open file.");
            return report.errors[0];
        };

        options.folder = source;
        CHECK (errorOf().startsWith (source.getFullPathName()));

        options.folder = work.file ("out");
        REQUIRE (work.file ("out/Snare.wav").createDirectory().wasOk());
        CHECK (errorOf()
               == work.file ("out/Snare.wav").getFullPathName() + " can't be written: Is a directory");

        const SmallFileSystem disk (work.file ("disk"), 16);

        if (disk.isMounted)
        {
            options.folder = disk.folder;
            CHECK (errorOf().contains ("40104 bytes needed, "));
            CHECK (disk.folder.getNumberOfChildFiles (juce::File::findFilesAndDirectories) == 0);
        }
    }
}

namespace
{
/** Writes zeros as holes, so that a file of 4 GiB takes no disk. */
struct SparseCalls final : FileSystemCalls
{
    SystemError reserve (FileHandle, std::uint64_t, SizeOfFile) override
    {
        return SystemError::Kind::notSupported;
    }

    Transfer
    writeAt (FileHandle handle, std::uint64_t offset, const void* data, std::size_t numBytes) override
    {
        const auto* bytes = static_cast<const char*> (data);

        if (offset == 0 || bytes[0] != 0 || std::memcmp (bytes, bytes + 1, numBytes - 1) != 0)
            return FileSystemCalls::writeAt (handle, offset, data, numBytes);

        const auto written = FileSystemCalls::writeAt (handle, offset + numBytes - 1, "", 1);
        return { written.error, written.numBytes * numBytes };
    }
};
} // namespace

// Takes a minute, so it runs only when asked for by its tag.
TEST_CASE ("A WAV file of more than 4 GiB", "[.][large]")
{
    WorkFolder work;
    SparseCalls calls;

    for (const auto samples : { (1ll << 30) - 8, (1ll << 30) + 8 })
    {
        MonoFilePlan plan;
        plan.format = { 32, true, {} };
        plan.sampleRate = 48000.0;
        plan.lengthInSamples = samples;
        plan.metadata = { { { 'z', 'z', 'z', 'z' }, { 1, 2, 3 } } };

        const auto file = work.file ("long.wav");
        MonoFileWriter writer (file, plan, calls);
        REQUIRE (writer.openFile().wasOk());
        REQUIRE (writer.createWriter().wasOk());
        const std::vector<float> silence (1 << 20), mark{ 0.25f, 0.5f, 0.75f, 1.0f };

        for (auto left = samples - 4; left > 0;)
        {
            const auto count = std::min<std::int64_t> (left, 1 << 20);
            REQUIRE (writer.write (std::span (silence).first (static_cast<std::size_t> (count))).wasOk());
            left -= count;
        }

        REQUIRE (writer.write (mark).wasOk());
        const auto finished = writer.finish();
        INFO (finished.getErrorMessage());
        REQUIRE (finished.wasOk());
        REQUIRE (writer.commit (AtomicFile::IfTargetExists::replace).wasOk());

        auto why = juce::Result::ok();
        const auto reader = openAudioFile (file, why);
        REQUIRE (reader != nullptr);
        std::array<float, 4> end{};
        auto* channel = end.data();
        REQUIRE (reader->read (&channel, 1, samples - 4, 4));
        CHECK (std::equal (end.begin(), end.end(), mark.begin()));
        CHECK (idsOf (chunksOf (file, ExportFileType::wav)) == "zzzz");
    }
}
