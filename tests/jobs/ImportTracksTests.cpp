#include "jobs/ImportTracks.h"

#include "tests/jobs/JobFixtures.h"

#include <algorithm>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
void write (const juce::File& file, double sampleRate, int numChannels, std::int64_t length)
{
    juce::AudioBuffer<float> audio (numChannels, static_cast<int> (length));

    for (int c = 0; c < numChannels; ++c)
        audio.copyFrom (
            c, 0, noise (length, static_cast<std::uint32_t> (length + c)).data(), static_cast<int> (length));

    auto stream = file.createOutputStream();
    REQUIRE (stream != nullptr);
    const auto isFlac = file.hasFileExtension ("flac");
    std::unique_ptr<juce::AudioFormat> format;

    if (isFlac)
        format = std::make_unique<juce::FlacAudioFormat>();
    else
        format = std::make_unique<juce::WavAudioFormat>();

    std::unique_ptr<juce::AudioFormatWriter> writer (format->createWriterFor (
        stream.release(), sampleRate, static_cast<unsigned int> (numChannels), isFlac ? 16 : 24, {}, 0));
    REQUIRE (writer->writeFromAudioSampleBuffer (audio, 0, audio.getNumSamples()));
}

/** All that an import gives, as text, and the samples. */
struct Imported
{
    juce::StringArray told;
    std::vector<std::vector<float>> samples;

    bool operator== (const Imported&) const = default;
};

Imported import (const std::vector<juce::File>& files, TemporaryStore& store, int numThreads)
{
    Imported all;
    ImportWarnings warnings;
    std::vector<double> progress;
    const auto result =
        importTracks (files, {}, warnings, store, numThreads, { {}, [&] (double fraction) {
                                                                   progress.push_back (fraction);
                                                               } });
    CHECK (std::is_sorted (progress.begin(), progress.end()));
    all.told.add (juce::String (static_cast<int> (result.outcome.end)) + " " + result.outcome.reason);

    for (const auto& track : result.tracks)
    {
        all.told.add (track.name + " " + juce::String (track.sampleRate()));
        all.samples.push_back (samplesOf (*track.source));
    }

    for (const auto& refusal : result.refused)
        all.told.add (refusal.reason + " " + juce::String (refusal.code.value_or (-1)));

    all.told.addArray (result.notes);
    warnings.show (
        [&] (const ImportWarnings::Warning& warning)
        {
            all.told.add (warning.message + warning.entries.joinIntoString ("|")
                          + warning.reasons.joinIntoString ("|"));
            return false;
        });

    return all;
}
} // namespace

TEST_CASE ("importTracks", "[jobs][import]")
{
    const WorkFolder work;
    auto store = openStore (work.folder);
    std::vector<juce::File> files;

    const auto add = [&] (const juce::String& name, double sampleRate, int numChannels, std::int64_t length)
    {
        files.push_back (work.file (name));
        write (files.back(), sampleRate, numChannels, length);
    };

    // The header of the first says 48 kHz, but it is damaged: the next one decides on the rate.
    add ("damaged.flac", 48000.0, 1, 90000);
    files.push_back (work.file ("missing.wav"));
    add ("Kick.wav", 44100.0, 1, 120000);
    add ("other rate.wav", 48000.0, 1, 20000);
    add ("Overhead.wav", 44100.0, 2, 30000);
    add ("tiny.wav", 44100.0, 1, 100);
    add ("Snare.flac", 44100.0, 1, 60000);
    juce::MemoryBlock bytes;
    REQUIRE (files.front().loadFileAsData (bytes));
    REQUIRE (files.front().replaceWithData (bytes.getData(), bytes.getSize() / 2));

    SECTION ("gives the same for any number of threads, in the order of the files")
    {
        const auto one = import (files, *store, 1);
        INFO (one.told.joinIntoString ("\n"));
        REQUIRE (one.samples.size() == 4);
        CHECK (one.told.joinIntoString ("\n").contains ("48000 Hz in a group of 44100 Hz"));

        for (const int numThreads : { 2, 3, 16 })
            for (int i = 0; i < 5; ++i)
                CHECK (import (files, *store, numThreads) == one);
    }

    SECTION ("a full disk ends it with the first file that finds no room, and a stop too: nothing is left")
    {
        const SmallFileSystem disk (work.file ("disk"), 600); // Kick takes 480 KB of it

        if (disk.isMounted)
        {
            auto small = openStore (disk.folder);
            const auto full = import (files, *small, 2);
            CHECK (full.samples.empty());
            CHECK (full.told[0].contains (".wav can't be read in: "));
            CHECK (small->folder().getNumberOfChildFiles (juce::File::findFiles) == 1); // the lock
        }

        std::atomic<int> asked{ 0 };
        ImportWarnings warnings;
        const auto stopped =
            importTracks (files, {}, warnings, *store, 2, { [&] { return ++asked > 5; }, {} });
        CHECK (stopped.outcome.wasStopped());
        CHECK (stopped.tracks.empty());
        CHECK (store->folder().getNumberOfChildFiles (juce::File::findFiles) == 1);
    }
}
