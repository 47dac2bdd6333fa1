#include "model/OutputRules.h"
#include "terms/KnobValues.h"
#include "tests/jobs/ExportFixtures.h"
#include "tests/support/WhicheverCallFails.h"

#include <filesystem>

using namespace tessivar;
using namespace tessivar::test;

TEST_CASE ("Exports and the files that are there", "[jobs][export]")
{
    WorkFolder work;
    auto store = openStore (work.file ("store"));
    const auto source = work.file ("in/Snare.wav");
    ExportOptions options{ .folder = work.file ("out") };

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

#if ! JUCE_WINDOWS
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
#endif

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
            std::filesystem::create_hard_link (group.getFullPathName().toStdString(),
                                               first.getFullPathName().toStdString());
            const auto report = exportTracks (tracks, options);
            CHECK (juce::String (report.tracks[0].outcome.reason).contains ("group file in use"));
            CHECK (report.tracks[1].isWritten());
            CHECK (first.loadFileAsString() == "group");
        }

#if ! JUCE_WINDOWS
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
#endif
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
                    REQUIRE (rawSamples (target).size() == static_cast<std::size_t> (exportLength));
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
               == work.file ("out/Snare.wav").getFullPathName()
                      + " can't be written: " + SystemError (SystemError::Kind::isFolder).text());

        const SmallFileSystem disk (work.file ("disk"), 16);

        if (disk.isMounted)
        {
            options.folder = disk.folder;
            CHECK (errorOf().contains ("40104 bytes needed, "));
            CHECK (disk.folder.getNumberOfChildFiles (juce::File::findFilesAndDirectories) == 0);
        }
    }
}
