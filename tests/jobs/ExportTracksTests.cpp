#include "jobs/AudioFileChunks.h"
#include "jobs/ExportSignals.h"
#include "jobs/MonoFileWriter.h"
#include "model/audiofile/ChunkReading.h"
#include "terms/KnobValues.h"
#include "tests/jobs/ExportFixtures.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <tuple>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
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
    plan.lengthInSamples = exportLength;
    plan.metadata = chunks;
    MonoFileWriter writer (file, plan, FileSystemCalls::system());
    REQUIRE (writer.openFile().wasOk());
    REQUIRE (writer.createWriter().wasOk());
    REQUIRE (writer.write (noise (exportLength, 5)).wasOk());
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
        const auto components = noise (10 * exportLength, 7, 2.0f);
        tracks[0].components = stored (*store, components);
        const auto report = exportComponents (tracks, options);
        REQUIRE (report.outcome.isOk());
        REQUIRE (report.componentFiles.size() == 10);
        CHECK (report.componentFiles[9] == work.file ("out/Snare_Component10.wav"));
        const auto written = rawSamples (work.file ("out/Snare_Component03.wav"));
        CHECK (std::memcmp (written.data(), &components[2 * exportLength], exportLength * sizeof (float))
               == 0);
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
