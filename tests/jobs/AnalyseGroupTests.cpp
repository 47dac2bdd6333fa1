#include "jobs/AnalyseGroup.h"

#include "jobs/StoreSignals.h"
#include "platform/FileSystemCalls.h"
#include "terms/AnalysisMethod.h"
#include "terms/DrumType.h"
#include "terms/WorkControl.h"
#include "tests/jobs/JobFixtures.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numeric>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
constexpr std::int64_t length = 66150; // 1.5 s

/** Decaying bursts of a sine, four to the second, with some of another drum leaking in. */
std::vector<float> drum (double frequency, double leakFrequency, std::int64_t numSamples)
{
    std::vector<float> samples (static_cast<std::size_t> (numSamples));

    for (std::size_t i = 0; i < samples.size(); ++i)
    {
        const auto hit = [i] (double hz, std::size_t offset)
        {
            const auto t = static_cast<double> ((i + offset) % 11025) / 44100.0;
            return std::exp (-30.0 * t) * std::sin (2.0 * juce::MathConstants<double>::pi * hz * t);
        };

        samples[i] = static_cast<float> (0.6 * hit (frequency, 0) + 0.1 * hit (leakFrequency, 5512));
    }

    return samples;
}

TrackState trackOf (TemporaryStore& store, DrumType type, const std::vector<float>& samples)
{
    TrackState track;
    track.name = drumTypeKey (type);
    track.sourceInfo.file = juce::File ("/takes/" + track.name + ".wav");
    track.sourceInfo.sampleRate = 44100.0;
    track.record.setLengthInSamples (static_cast<std::int64_t> (samples.size()));
    track.sourceInfo.bitsPerSample = 24;
    track.record.setDrumType (type);
    track.source = storedTrack (store, samples);
    return track;
}

/** A disk that is full as soon as a file of an analysis is wanted, or breaks at one of its reads. */
struct BadDisk final : FileSystemCalls
{
    Transfer readAt (FileHandle handle, std::uint64_t offset, void* dest, std::size_t numBytes) override
    {
        if (--readsLeft == 0)
            return { SystemError::Kind::failed, 0 };

        return FileSystemCalls::readAt (handle, offset, dest, numBytes);
    }

    SystemError reserve (FileHandle handle, std::uint64_t numBytes, SizeOfFile sizeOfFile) override
    {
        return isFull ? SystemError::Kind::noRoom : FileSystemCalls::reserve (handle, numBytes, sizeOfFile);
    }

    bool isFull = false;
    std::atomic<int> readsLeft{ 0 }; // at which the next one fails
};
} // namespace

TEST_CASE ("analyseGroup", "[jobs][analyse]")
{
    WorkFolder work;
    BadDisk disk;
    std::unique_ptr<TemporaryStore> store;
    REQUIRE (TemporaryStore::open (work.folder, store, disk).wasOk());

    AnalysisOptions options;
    options.resourceFolder = resourceFolder();

    const auto kick = drum (60.0, 1900.0, length), snare = drum (1900.0, 60.0, length - 20000);
    GroupState group;
    group.tracks = { trackOf (*store, DrumType::kick, kick),
                     trackOf (*store, DrumType::oh, drum (800.0, 60.0, length)),
                     trackOf (*store, DrumType::snare, snare),
                     trackOf (*store, DrumType::tomLow, drum (120.0, 60.0, length)) };
    auto& tracks = group.tracks;
    tracks[3].excluded = true;
    tracks[3].rendered = tracks[3].source; // from an earlier analysis in which it took part

    const auto numFiles = [&] { return store->folder().getNumberOfChildFiles (juce::File::findFiles); };
    const auto filesBefore = numFiles();

    SECTION (
        "gives the close microphones seven channels that add up to the source, and leaves the others alone")
    {
        options.keepAllComponents = true;
        const auto result = analyseGroup (group, options, *store, {});
        REQUIRE (result.outcome == Outcome::ok());
        CHECK (result.analysis == GroupState::Analysis{ AnalysisMethod::standard, 1, 4 });
        applyAnalysis (group, result);

        for (const auto index : { 0u, 2u })
        {
            const auto& track = tracks[index];
            CHECK (track.record.isProcessed());
            CHECK (track.analysedAs == track.analysisInput());
            REQUIRE (track.rendered != nullptr);
            const auto frames = samplesOf (*track.rendered);
            const auto source = samplesOf (*track.source);
            REQUIRE (frames.size() == 7 * source.size());
            const auto components = samplesOf (*track.components);
            REQUIRE (components.size() == 10 * source.size());
            float worst = 0.0f, worstComponent = 0.0f;

            for (std::size_t i = 0; i < source.size(); ++i)
            {
                const auto* frame = &frames[7 * i];
                float sum = 0.0f;

                for (std::size_t c = 0; c < 6; ++c)
                    sum += frame[c];

                worst = std::max ({ worst, std::abs (sum - source[i]), std::abs (frame[6] - source[i]) });

                for (std::size_t c = 0; c < 5; ++c)
                    worstComponent =
                        std::max (worstComponent, std::abs (frame[c] - components[c * source.size() + i]));
            }

            CHECK (worst < 1.0e-6f);
            CHECK (worstComponent == 0.0f);
        }

        for (const auto index : { 1u, 3u })
        {
            CHECK_FALSE (tracks[index].record.isProcessed());
            CHECK (tracks[index].rendered == nullptr);
        }

        CHECK (numFiles() == filesBefore + 4); // no scratch is left
    }

    SECTION ("the refined method starts anew where its start comes to nothing, and every track gets its own "
             "length")
    {
        GroupState shortGroup;
        options.method = shortGroup.method = AnalysisMethod::refined;
        shortGroup.tracks = { trackOf (*store, DrumType::kick, drum (60.0, 1900.0, 26460)),
                              trackOf (*store, DrumType::snare, drum (1900.0, 60.0, 88200)),
                              trackOf (*store, DrumType::tomLow, drum (120.0, 60.0, 132300)) };
        const auto result = analyseGroup (shortGroup, options, *store, {});
        REQUIRE (result.outcome == Outcome::ok());
        REQUIRE (result.remarks.size() == 2);
        CHECK (result.remarks[0].code == AnalysisRemark::startedAtRandom);
        CHECK (result.remarks[1].code == AnalysisRemark::shortPiece);
        applyAnalysis (shortGroup, result);
        REQUIRE (shortGroup.analysis->bleed != nullptr);
        REQUIRE (shortGroup.analysis->bleed->numDrums() == 3);

        for (const auto& track : shortGroup.tracks)
        {
            REQUIRE (track.rendered != nullptr);
            // A track that ends early is no microphone of what sounds after its end.
            const auto place = shortGroup.bleedPlaceOf (track);
            REQUIRE (place);
            CHECK (shortGroup.analysis->bleed->levelDb (*place, *place, std::nullopt, {})
                   == Approx (0.0).margin (0.001));
            REQUIRE (track.rendered->lengthInFrames() == track.lengthInSamples());
            const auto frames = samplesOf (*track.rendered), source = samplesOf (*track.source);
            float worst = 0.0f;

            for (std::size_t i = 0; i < source.size(); ++i)
                worst = std::max (
                    worst, std::abs (std::accumulate (&frames[7 * i], &frames[7 * i + 6], 0.0f) - source[i]));

            CHECK (worst < 1.0e-6f);
        }
    }

    SECTION ("one microphone is left to the standard method, after which nothing is left to analyze")
    {
        GroupState alone;
        alone.method = AnalysisMethod::refined;
        alone.tracks = { tracks[0], tracks[3] };
        options.method = alone.workableMethod();
        CHECK (options.method == AnalysisMethod::standard);
        const auto result = analyseGroup (alone, options, *store, {});
        REQUIRE (result.outcome == Outcome::ok());
        REQUIRE (result.remarks.size() == 2);
        CHECK (result.remarks[0].code == AnalysisRemark::onlyOneMicrophone);
        applyAnalysis (alone, result);
        CHECK_FALSE (alone.changedSinceAnalysis());
        alone.tracks[1].excluded = false;
        CHECK (alone.workableMethod() == AnalysisMethod::refined);
    }

    SECTION ("a HiHat track whose one component is like nothing but itself does not fall silent")
    {
        GroupState pair;
        pair.tracks = { trackOf (*store, DrumType::kick, kick),
                        trackOf (*store, DrumType::hiHat, drum (6000.0, 60.0, length)) };
        const auto result = analyseGroup (pair, options, *store, {});
        REQUIRE (result.outcome == Outcome::ok());
        const auto frames = samplesOf (*result.tracks[1].rendered);
        double best = 0.0, source = 0.0;

        for (std::size_t i = 0; i < frames.size(); i += 7)
        {
            best += std::pow (static_cast<double> (frames[i]), 2.0);
            source += std::pow (static_cast<double> (frames[i + 6]), 2.0);
        }

        CHECK (best > 0.01 * source);
    }

    SECTION ("takes only the data files of its rate, and carries on without one of them")
    {
        const auto files = dataFilesFor (*RateParameters::forRate (44100.0));

        for (const auto absent : { 1u, 3u, 5u })
        {
            const WorkFolder data;
            juce::StringArray lines, expected;
            options.resourceFolder = data.folder.getFullPathName().toStdString();
            options.diagnostics = [&lines] (std::string_view line, bool isRead)
            {
                lines.add (juce::String (std::string (line)).trimEnd());
                CHECK (isRead == lines[lines.size() - 1].startsWith ("Read "));
            };

            for (std::size_t i = 0; i < files.size(); ++i)
            {
                const auto target = data.file (files[i].name.c_str());
                const auto isAbsent = i == absent;
                const auto path = options.resourceFolder + "/" + files[i].name;
                expected.add (isAbsent ? "Some data from " + path + " didn't fit."
                                       : "Read " + juce::String (4 * files[i].numFloats) + " bytes from "
                                             + juce::String (path));

                if (isAbsent)
                    continue;

                REQUIRE (target.getParentDirectory().createDirectory().wasOk());
                REQUIRE (
                    juce::File (juce::String (resourceFolder() + "/" + files[i].name)).copyFileTo (target));
            }

            CHECK (analyseGroup (group, options, *store, {}).outcome == Outcome::ok());
            CHECK (lines == expected);
        }
    }

    SECTION ("a stop, a full disk or an unreadable source changes no track and leaves no file")
    {
        for (const auto* what : { "stopped", "full", "unreadable" })
        {
            INFO (what);
            WorkControl control;
            auto expected = Outcome::End::failed;
            std::shared_ptr<StoreFile> shortFile;

            if (juce::String (what) == "stopped")
            {
                int asked = 0;
                control.shouldStop = [asked]() mutable { return ++asked > 40; };
                expected = Outcome::End::stopped;
            }
            else if (juce::String (what) == "full")
            {
                disk.isFull = true;
                expected = Outcome::End::noRoom;
            }
            else
            {
                disk.isFull = false;
                const auto data = store->folder().findChildFiles (juce::File::findFiles, false, "*.data");

                for (const auto& file : data)
                {
                    OpenFile cut;
                    REQUIRE_FALSE (cut.open (file, Opening::readAndWrite).failed());
                    REQUIRE_FALSE (FileSystemCalls::system().setSize (cut.handle(), 1000).failed());
                }
            }

            const auto result = analyseGroup (group, options, *store, control);
            CHECK (result.outcome.end == expected);
            CHECK (juce::String (result.outcome.reason).contains (store->folder().getFullPathName())
                   == (expected != Outcome::End::stopped));
            CHECK (result.tracks.empty());
            CHECK (numFiles() == filesBefore);
        }
    }

    SECTION ("whichever read fails, the user is told of which file, and no file is left")
    {
        options.method = AnalysisMethod::refined;

        for (int failing = 1;; failing += 1 + failing / 4)
        {
            INFO ("read " << failing);
            disk.readsLeft = failing;
            const auto result = analyseGroup (group, options, *store, {});

            if (result.outcome.isOk())
            {
                CHECK (failing > 20);
                break;
            }

            CHECK (result.outcome.end == Outcome::End::failed);
            CHECK (juce::String (result.outcome.reason).contains (store->folder().getFullPathName()));
            CHECK (numFiles() == filesBefore);
        }
    }

    SECTION ("refuses what can't be analysed")
    {
        tracks[2].excluded = true;
        tracks[0].record.setDrumType (DrumType::hiHat);
        const auto outcome = analyseGroup (group, options, *store, {}).outcome;
        CHECK (outcome == checkContents (GroupContents::of (group)));
        CHECK (outcome.end == Outcome::End::refused);
        tracks[2].excluded = false;
        CHECK (checkContents (GroupContents::of (group)).isOk());
        tracks[0].sourceInfo.sampleRate = 48000.0;
        CHECK (juce::String (analyseGroup (group, options, *store, {}).outcome.reason).contains ("48000"));
    }

    SECTION ("forecasts the disk it takes, and refuses with both numbers what does not fit")
    {
        auto forecast = forecastWork (group, options, work.file ("not/yet/there"));
        CHECK (forecast.diskFree > 0);
        CHECK (forecast.memoryNeeded > 0);
        CHECK (forecast.check().isOk());

        // Not imported yet: the source's 4 bytes a sample come on top.
        const auto needed = forecast.diskNeeded;
        constexpr std::uint64_t trailer = 16; // of a track's five components
        std::uint64_t rendered = 0;

        for (const auto& track : tracks)
            if (track.takesPart())
                rendered += 20 * static_cast<std::uint64_t> (track.lengthInSamples()) + trailer;

        CHECK (needed == rendered);
        tracks[0].source.reset();
        CHECK (forecastWork (group, options, work.folder).diskNeeded == needed + 4 * length);

        // One more rendered track, with all its components: 20 + 40 bytes a sample.
        options.keepAllComponents = true;
        const auto withComponents = forecastWork (group, options, work.folder).diskNeeded;
        tracks[3].excluded = false;
        CHECK (forecastWork (group, options, work.folder).diskNeeded
               == withComponents + 60 * length + trailer);

        forecast.diskFree = 5;
        CHECK (
            juce::String (forecast.check().reason).contains (juce::String (forecast.diskNeeded) + " bytes"));
        CHECK (juce::String (forecast.check().reason).contains ("5 bytes free"));
        forecast.memoryFree = 6;
        CHECK (juce::String (forecast.check().reason).contains ("6 bytes free"));
    }
}

TEST_CASE ("TrackSource", "[jobs][store]")
{
    WorkFolder work;
    auto store = openStore (work.folder);
    TrackSource source (storedTrack (*store, { 1.0f, 2.0f, 3.0f }));
    CHECK (source.lengthInSamples() == 3);

    // Every window of every length around the three samples, silence where there is none.
    for (std::int64_t start = -4; start < 6; ++start)
        for (std::size_t count = 0; count < 9; ++count)
        {
            INFO (count << " samples from " << start);
            std::vector<float> dest (count, 9.0f);
            REQUIRE (source.read (start, dest));

            for (std::size_t i = 0; i < count; ++i)
            {
                const auto position = start + static_cast<std::int64_t> (i);
                REQUIRE (dest[i]
                         == (position >= 0 && position < 3 ? static_cast<float> (position + 1) : 0.0f));
            }
        }
}
