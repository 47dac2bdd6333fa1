#include "platform/FileSystemCalls.h"
#include "platform/Folders.h"
#include "terms/AnalysisMethod.h"
#include "terms/WorkControl.h"

#include "tests/app/WindowWorkRig.h"
#include "tools/filefaults/FileFaults.h"

#include <juce_audio_formats/juce_audio_formats.h>

#include <catch2/catch.hpp>

#include <new>
#include <stdexcept>

using namespace tessivar;
using namespace tessivar::test;

namespace
{
juce::File demoFile (const char* name)
{
    return juce::File (juce::String (TESSIVAR_SOURCE_DIR) + "/demo").getChildFile (name);
}

/** Three tracks of the demo as an open Group. */
Group::Ptr importDemo (WindowWorkRig& rig)
{
    rig.import ({ demoFile ("Kick In.flac"), demoFile ("HH.flac"), demoFile ("Floor.flac") }, nullptr);
    const auto group = rig.workspace.selectedGroup();
    REQUIRE (group != nullptr);
    REQUIRE (group->numTracks() == 3);
    return group;
}
} // namespace

TEST_CASE ("Work on a Group from its files to its exports", "[app][work]")
{
    WindowWorkRig rig;
    const auto group = importDemo (rig);

    SECTION ("a chosen method holds for the Group and for those to come")
    {
        CHECK (group->method() == AnalysisMethod::refined);
        rig.work.chooseMethod (group, AnalysisMethod::standard);
        CHECK (group->method() == AnalysisMethod::standard);
        CHECK (rig.work.newGroup()->method() == AnalysisMethod::standard);
    }

    SECTION ("asks, analyses, saves and exports, and the file brings all of it back")
    {
        rig.answers = { "PROCEED" };
        rig.work.analyze (group);
        REQUIRE (group->isAnalysed());
        CHECK (rig.told.size() == 1);

        // The tips come once a user, and nothing has changed since.
        rig.told.clear();
        rig.work.analyze (group);
        CHECK (rig.told.size() == 1);

        const auto file = rig.folder.getChildFile (possibleFileName ("Take 12:30 'b'.dls"));
        rig.choose ({ file.withFileExtension ({}).getFullPathName() });
        CHECK (group->hasUnsavedChanges());
        REQUIRE (rig.work.save (group));
        CHECK (file.existsAsFile());
        CHECK_FALSE (group->hasUnsavedChanges());
        CHECK (rig.chooserCalls().joinIntoString ("\n").contains ("Choose a file to save... (" + group->name()
                                                                  + ")"));

        const auto exports = rig.folder.getChildFile ("out");
        exports.createDirectory();
        rig.choose ({ exports.getFullPathName() });
        rig.work.exportGroups (ExportScope::group, group);
        CHECK (exports.getNumberOfChildFiles (juce::File::findFiles) == 3);
        const auto kick = exports.getChildFile ("Kick In_Processed.wav");
        juce::MemoryBlock first, second;
        REQUIRE (kick.loadFileAsData (first));

        // The report gets its ending.
        rig.answers = { "Pictures only" };
        const auto report = rig.folder.getChildFile (possibleFileName ("Take 12:30.html"));
        rig.choose ({ report.withFileExtension ({}).getFullPathName() });
        rig.work.exportReport (group);
        CHECK (report.loadFileAsString().contains ("<h3>Kick In"));
        rig.choose ({ exports.getFullPathName() });

        rig.work.close (group);
        CHECK (rig.workspace.numGroups() == 0);
        rig.work.open ({ file });
        const auto loaded = rig.workspace.selectedGroup();
        REQUIRE (loaded != nullptr);
        CHECK (loaded->isAnalysed());

        // The files are there now: one question about all of them, and no means none is touched.
        rig.told.clear();
        kick.replaceWithText ("mine");
        rig.work.exportGroups (ExportScope::group, loaded);
        CHECK (rig.told.size() == 1);
        CHECK (kick.loadFileAsString() == "mine");

        rig.answers = { "Overwrite" };
        rig.work.exportGroups (ExportScope::group, loaded);
        REQUIRE (kick.loadFileAsData (second));
        CHECK (first == second);

        // 32-bit float is larger, and the proposal from then on.
        for (const auto* name : { "float", "again" })
        {
            const auto folder = rig.folder.getChildFile (name);
            folder.createDirectory();
            rig.choose ({ folder.getFullPathName() });

            if (juce::String (name) == "float")
                rig.answers = { "WAV, 32-bit float" };

            rig.work.exportGroups (ExportScope::group, loaded);
            CHECK (folder.getChildFile (kick.getFileName()).getSize() > kick.getSize() * 5 / 4);
        }

        // A save that is stopped is no failure.
        rig.told.clear();
        rig.cancelsJobs = true;
        const auto copy = rig.folder.getChildFile ("copy.dls");
        rig.choose ({ copy.getFullPathName() });
        CHECK (rig.work.saveAs (loaded) == copy.exists());
        CHECK (rig.told.isEmpty());
    }

    SECTION ("leaves the Group as it was when it is cancelled")
    {
        const auto before = group->state();
        rig.answers = { "PROCEED" };
        rig.cancelsJobs = true;
        rig.work.analyze (group);
        CHECK_FALSE (group->isAnalysed());
        CHECK (group->state().tracks.size() == before.tracks.size());
    }

    SECTION ("tells of a save that failed, and nothing is taken for saved")
    {
        const auto inTheWay = rig.folder.getChildFile ("file");
        inTheWay.replaceWithText ("x");
        rig.choose ({ inTheWay.getChildFile ("Take.dls").getFullPathName() });
        CHECK_FALSE (rig.work.save (group));
        CHECK (rig.told.size() == 1);
        CHECK (group->hasUnsavedChanges());
        CHECK (group->file() == juce::File());
    }

    SECTION ("never writes over a source, nor over the file of an open Group")
    {
        const auto source = rig.folder.getChildFile ("Kick.dls"), file = rig.folder.getChildFile ("Take.dls");
        REQUIRE (demoFile ("Kick In.flac").copyFileTo (source));
        group->setSourceFile (group->track (0)->id(), source);
        rig.answers = { "Overwrite" };
        rig.choose ({ source.getFullPathName() });
        CHECK_FALSE (rig.work.saveAs (group));
        CHECK (rig.told.joinIntoString ("\n").contains ("source file"));
        CHECK (source.hasIdenticalContentTo (demoFile ("Kick In.flac")));

        // A Group that is saved, and another one with its own file.
        rig.choose ({ file.getFullPathName() });
        REQUIRE (rig.work.saveAs (group));
        juce::MemoryBlock before;
        REQUIRE (file.loadFileAsData (before));
        rig.import ({ demoFile ("SD Top.flac") });
        const auto other = rig.workspace.selectedGroup();
        REQUIRE (other != group);
        rig.told.clear();
        rig.answers = { "Overwrite" };
        CHECK_FALSE (rig.work.saveAs (other));
        CHECK (rig.told.joinIntoString ("\n").contains ("group file in use"));

        rig.answers = { "PROCEED" };
        rig.work.analyze (group);
        const auto track = group->track (0);
#if JUCE_WINDOWS
        const auto link = rig.folder.getChildFile ("TAKE.DLS"); // the same name there
#else
        const auto link = rig.folder.getChildFile ("link.wav");
        REQUIRE (file.createSymbolicLink (link, false));
#endif
        rig.told.clear();

        for (const auto& target : { source, file, link })
        {
            rig.answers = { "Overwrite" };
            rig.choose ({ target.getFullPathName() });
            rig.work.exportTrack (group, track);
        }

        juce::MemoryBlock after;
        REQUIRE (file.loadFileAsData (after));
        CHECK (after == before);
        CHECK (source.hasIdenticalContentTo (demoFile ("Kick In.flac")));
    }

    SECTION ("asks before it replaces what another program has put in the place of its file")
    {
        const auto file = rig.folder.getChildFile ("Take.dls"),
                   elsewhere = rig.folder.getChildFile ("Mine.dls");
        rig.choose ({ file.getFullPathName() });
        REQUIRE (rig.work.save (group));
        const auto theirs = rig.folder.getChildFile ("theirs");
        REQUIRE (theirs.replaceWithText ("newer work"));
        REQUIRE_FALSE (FileSystemCalls::system().rename (theirs, file, true).failed());
        group->rename ("changed");
        rig.told.clear();

        CHECK_FALSE (rig.work.saveAll()); // escaped from
        CHECK (rig.told.size() == 1);
        CHECK (rig.told[0].contains ("changed by another program"));
        CHECK (file.loadFileAsString() == "newer work");

        rig.answers = { "Save as" };
        rig.choose ({ elsewhere.getFullPathName() });
        REQUIRE (rig.work.save (group));
        CHECK (file.loadFileAsString() == "newer work");
        CHECK (group->file() == elsewhere);

        REQUIRE (theirs.replaceWithText ("newer work"));
        REQUIRE_FALSE (FileSystemCalls::system().rename (theirs, elsewhere, true).failed());
        group->rename ("changed again");
        rig.answers = { "Replace" };
        REQUIRE (rig.work.save (group));
        CHECK (elsewhere.getSize() > 1000);
        rig.told.clear();
        group->rename ("once more");
        REQUIRE (rig.work.save (group));
        CHECK (rig.told.isEmpty());
    }

    SECTION ("asks before it saves in place, where there is no room for a second copy")
    {
        const SmallFileSystem disk (rig.folder.getChildFile ("disk"), 120 << 10);

        if (disk.isMounted)
        {
            rig.choose ({ disk.folder.getChildFile ("Take.dls").getFullPathName() });
            REQUIRE (rig.work.save (group));
            rig.answers = { "PROCEED" };
            rig.work.analyze (group);
            REQUIRE (group->isAnalysed());
            rig.told.clear();

            CHECK_FALSE (rig.work.save (group)); // escaped from
            REQUIRE (rig.told.size() == 1);
            CHECK (rig.told[0].contains ("saved in place"));
            rig.answers = { "Save in place" };
            CHECK (rig.work.save (group));
            CHECK_FALSE (group->hasUnsavedChanges());
        }
    }

    SECTION ("asks before changes are closed away")
    {
        CHECK_FALSE (rig.work.close (group)); // escaped from
        CHECK (rig.workspace.numGroups() == 1);

        rig.answers = { "Save and Close" };
        rig.choose ({}); // the chooser is cancelled
        CHECK_FALSE (rig.work.close (group));
        CHECK (rig.workspace.numGroups() == 1);

        rig.answers = { "Close Without Saving" };
        CHECK (rig.work.close (group));
        CHECK (rig.workspace.numGroups() == 0);
    }
}

TEST_CASE ("Files that are none of ours", "[app][work]")
{
    WindowWorkRig rig;
    juce::StringArray notices;
    rig.work.onNotice = [&] (const juce::String& text, const juce::String&, const std::function<void()>&)
    { notices.add (text); };

    SECTION ("in a drop of many are left out in one notice, and unreadable ones told once a kind")
    {
        std::vector<DialogListRow> rows;
        rig.onDialog = [&] (DialogContent& dialog) { rows = WindowWorkRig::rowsOf (dialog); };
        std::vector<juce::File> files{ demoFile ("HH.flac") };

        for (int i = 0; i < 50; ++i)
        {
            files.push_back (rig.folder.getChildFile ("note " + juce::String (i) + ".txt"));
            files.back().replaceWithText ("text");
            files.push_back (rig.folder.getChildFile ("broken " + juce::String (i) + ".wav"));
            files.back().replaceWithText ("RIFF, but no more");
        }

        rig.import (files);
        CHECK (rig.workspace.numGroups() == 1);
        CHECK (rig.told.size() == 1);
        REQUIRE (notices.size() == 1);
        CHECK (notices[0].contains ("50"));
        REQUIRE (rows.size() == 50);
        CHECK (rows[49].text == "broken 49.wav");
        CHECK (rows[49].detail.isNotEmpty()); // why
    }

    SECTION ("alone are told, as a folder without audio is")
    {
        const auto text = rig.folder.getChildFile ("notes.txt"), empty = rig.folder.getChildFile ("empty");
        text.replaceWithText ("text");
        empty.createDirectory();
        rig.import ({ text, empty });
        CHECK (rig.workspace.numGroups() == 0);
        CHECK (rig.told.size() == 1);
    }

    SECTION ("are refused as group files, and leave the list of recent files")
    {
        const auto bank = rig.folder.getChildFile ("piano.dls");
        bank.replaceWithText ("RIFF1234DLS colh");
        rig.workspace.addRecentFile (bank);
        rig.work.open ({ bank });
        CHECK (rig.workspace.numGroups() == 0);
        CHECK (rig.told.size() == 1);
        CHECK (rig.workspace.recentFiles().paths().isEmpty());
    }
}

TEST_CASE ("Exports are reported file by file", "[app][work]")
{
    WindowWorkRig rig;
    std::vector<std::vector<DialogListRow>> reports;
    const auto out = rig.folder.getChildFile ("out");
    out.createDirectory();
    auto folders = rig.workspace.folderSettings();
    folders.exportFolder = out;
    rig.workspace.setFolderSettings (folders);

    // Louder than an AIFF file takes, and of more bits; and a track twice, so that names are numbered.
    const auto room = rig.folder.getChildFile ("Song - Room.wav");
    {
        juce::AudioBuffer<float> audio (1, 20000);

        for (int i = 0; i < 20000; ++i)
            audio.setSample (0, i, i % 100 == 0 ? 2.0f : 0.1f);

        juce::WavAudioFormat wav;
        std::unique_ptr<juce::AudioFormatWriter> writer (
            wav.createWriterFor (room.createOutputStream().release(), 44100.0, 1, 32, {}, 0));
        REQUIRE (writer->writeFromAudioSampleBuffer (audio, 0, 20000));
    }
    rig.import ({ demoFile ("HH.flac"), demoFile ("Kick In.flac"), demoFile ("Kick In.flac"), room },
                nullptr);
    const auto group = rig.workspace.selectedGroup();
    REQUIRE (group != nullptr);
    rig.answers = { "PROCEED" };
    rig.work.analyze (group);
    REQUIRE (group->isAnalysed());

    rig.onDialog = [&] (DialogContent& dialog)
    {
        if (dynamic_cast<ExportReportDialog*> (&dialog) == nullptr)
            return;

        reports.push_back (WindowWorkRig::rowsOf (dialog));

        // What was in the way goes, and what was written is touched.
        if (reports.size() == 1)
        {
            out.getChildFile ("Kick In_Processed_2.aiff").deleteRecursively();
            out.getChildFile ("Kick In_Processed.aiff").replaceWithText ("mine");
        }
    };
    out.getChildFile ("Kick In_Processed_2.aiff/inside").createDirectory();
    rig.choose ({ out.getFullPathName() });
    rig.answers = { "AIFF", "Try failed again" };
    rig.work.exportGroups (ExportScope::group, group);
    CHECK (rig.chooserCalls().joinIntoString ("\n").contains (
        "--filename=" + juce::File::addTrailingSeparator (out.getFullPathName())));

    // All that there is to know of each file, under its whole name.
    REQUIRE (reports.size() >= 1);
    REQUIRE (reports[0].size() == 4);
    CHECK (reports[0][0].remark.isEmpty());
    CHECK (reports[0][2].text == "Kick In_Processed_2.aiff");
    CHECK (reports[0][2].detail.contains ("Kick In_Processed_2.aiff"));
    CHECK (reports[0][3].text == "Song - Room.aiff");
    CHECK (reports[0][3].detail
           == "The source is 32-bit float, which AIFF can't hold: written as 24 bit.\n200 samples clipped, "
              "peak 6.02 dBFS.");

    // Once more what failed, where it belongs, and nothing else.
    CHECK (out.getChildFile ("Kick In_Processed.aiff").loadFileAsString() == "mine");
    CHECK (out.getChildFile ("Kick In_Processed_2.aiff").existsAsFile());
    CHECK (reports.back().size() == 1);

    // The type and the folder are those of last time for the next export.
    rig.answers = { "Overwrite" };
    rig.work.exportGroups (ExportScope::allGroups, nullptr);
    CHECK (out.getNumberOfChildFiles (juce::File::findFiles, "*.wav") == 0);
    CHECK (out.getChildFile ("Kick In_Processed.aiff").getSize() > 1000);
    rig.choose ({});
    rig.work.exportTrack (group, group->track (0));
    CHECK (rig.chooserCalls().joinIntoString ("\n").contains (
        "--filename=" + out.getChildFile ("HH_Processed.wav").getFullPathName()));
}

TEST_CASE ("Choosers begin in a folder that exists", "[app][chooser]")
{
    WindowWorkRig rig;
    auto folders = rig.workspace.folderSettings();
    folders.exportFolder = rig.folder.getChildFile ("gone/too");
    rig.workspace.setFolderSettings (folders);
    const auto documents = rig.workspace.lastViewedFolder();
    REQUIRE_FALSE (juce::File (documents).isDirectory());
    rig.choose ({});
    rig.work.chooseAndOpen();
    rig.work.chooseAndImportFolders();
    CHECK (nearestFolder (rig.workspace.exportDialogFolder()) == rig.folder);
    CHECK (nearestFolder ({}).isDirectory());

    for (const auto& call : rig.chooserCalls())
        CHECK (juce::File (call.fromLastOccurrenceOf ("--filename=", false, false)).isDirectory());

    CHECK (rig.chooserCalls().size() == 2);
    CHECK (rig.workspace.lastViewedFolder() == documents); // a stand-in is not remembered
    CHECK (rig.workspace.folderSettings().exportFolder == rig.folder.getChildFile ("gone/too"));
}

TEST_CASE ("A job behind the progress dialog", "[app][work]")
{
    WindowWorkRig rig;

    SECTION ("ends as failed, and tells why, when memory runs out or an exception comes up")
    {
        CHECK (rig.runner.run ("x", {}, [] (const WorkControl&) { throw std::bad_alloc(); })
               == Outcome::noRoom ("memory ran out"));
        const auto odd =
            rig.runner.run ("x", {}, [] (const WorkControl&) { throw std::runtime_error ("odd"); });
        CHECK (odd.end == Outcome::End::failed);
        CHECK_THAT (odd.reason, Catch::EndsWith (": odd"));
        CHECK_FALSE (rig.runner.isBusy());
        CHECK_FALSE (rig.scrim.isShowingDialog());
    }

    SECTION ("delivers messages meanwhile, and stops when it is asked to")
    {
        std::atomic<int> delivered{ 0 };
        rig.cancelsJobs = true;
        const auto end = rig.runner.run ("x",
                                         {},
                                         [&] (const WorkControl& watch)
                                         {
                                             juce::MessageManager::callAsync ([&] { ++delivered; });

                                             while (! watch.shouldStop() || delivered == 0)
                                                 juce::Thread::sleep (1);
                                         });
        CHECK (end.wasStopped());
    }

    SECTION ("goes on when a message throws, and the messages behind it come")
    {
        std::atomic<int> delivered{ 0 };
        const auto ended =
            rig.runner.run ("x",
                            {},
                            [&] (const WorkControl&)
                            {
                                juce::MessageManager::callAsync ([] { throw std::runtime_error ("odd"); });
                                juce::MessageManager::callAsync ([] { throw std::bad_alloc(); });
                                juce::MessageManager::callAsync ([&] { ++delivered; });

                                while (delivered == 0)
                                    juce::Thread::sleep (1);
                            });
        CHECK (ended.isOk());
    }
}

TEST_CASE ("A chooser that answers with very many files", "[app][chooser]")
{
    WindowWorkRig rig;
    juce::StringArray paths;

    // More than fits into a pipe.
    for (int i = 0; i < 2000; ++i)
        paths.add ("/somewhere/with a long name/that goes on for a while: and on/" + juce::String (i)
                   + ".wav");

    rig.choose (paths);
    const auto request = chooserRequest ("Many", "*.wav", FileChooserRequest::Kind::openFiles, "/");
    const auto chosen = chooseWithDesktop (request);
    REQUIRE (chosen);
    CHECK (chosen->size() == 2000);
}
