#include "tools/windowdriver/ProgramRun.h"

#include <catch2/catch.hpp>

#include <csignal>

using namespace tessivar::test;

namespace
{
double now()
{
    return juce::Time::getMillisecondCounterHiRes();
}

/** Runs tessivar-cli to its end. */
int runCommand (const std::vector<std::string>& arguments)
{
    ChildProgram command ({ .program = TESSIVAR_BIN_DIR "/tessivar-cli",
                            .arguments = arguments,
                            .environment = {},
                            .outputFile = {} });
    return command.waitForEnd (120000).value_or (-1);
}

juce::StringArray namesIn (const juce::File& folder)
{
    juce::StringArray names;

    for (const auto& file : folder.findChildFiles (juce::File::findFiles, false, "*.wav"))
        names.add (file.getFileName());

    names.sort (false);
    return names;
}

bool hasArgument (const juce::String& call, const juce::String& argument)
{
    return juce::StringArray::fromTokens (call, "|", {}).contains (argument);
}

/** A program with four tracks in its window. */
struct WorkingRun
{
    explicit WorkingRun (UserAtScreen& user, double seconds = 4.0) : run (user)
    {
        REQUIRE (run.waitForWindow());
        REQUIRE (user.x.drop (run.window, run.waveform(), user.recording (seconds)));
        REQUIRE (waitUntil ([&] { return run.showsTrack() && ! run.isDimmed(); }));
    }

    ProgramRun run;
};
} // namespace

TEST_CASE ("A first session", "[window][session]")
{
    UserAtScreen user (testDisplay());
    const auto out = user.newFolder ("Mix 12:30 \"loud\"");
    const auto files = user.recording (4.0);
    ProgramRun run (user);
    REQUIRE (run.waitForWindow());
    run.keepPicture ("first-1-empty");
    const auto start = now();

    // One: the files are dropped. What the program asks on its way is answered as it proposes.
    REQUIRE (user.x.drop (run.window, run.waveform(), files));
    REQUIRE (run.waitForDialog());
    run.keepPicture ("first-2-dropped");
    auto answers = run.answerUntilRest();
    REQUIRE (run.showsTrack());

    // Two: the Group is analysed, behind the tips that everybody is shown once.
    user.x.click (run.analyzeButton());
    REQUIRE (waitUntil ([&] { return run.asksSomething(); }));
    run.keepPicture ("first-3-tips");
    answers += run.answerUntilRest();
    REQUIRE (waitUntil ([&] { return run.exportIsPrimary(); }, 90000));

    // Three: played. Four: the Focus knob turned, which redraws its ring. Five: exported.
    user.x.click (run.playButton());
    const auto before = run.picture();
    const auto knob = run.at (665, -146);
    user.x.drag (knob, knob.translated (60, 0));
    CHECK (waitUntil ([&] { return ! run.showsSame (before, { 560, -240, 220, 180 }); }));
    run.keepPicture ("first-4-turned");
    REQUIRE (user.x.heartbeat (run.window)); // the pointer is back from under the knob
    user.answerChoosers ({ { out.getFullPathName() } });
    user.x.click (run.exportButton());
    REQUIRE (waitUntil ([&] { return run.asksSomething(); })); // of which type
    run.keepPicture ("first-5-type");
    user.x.key ("Return");
    ++answers;
    REQUIRE (waitUntil ([&] { return namesIn (out).size() == 4; }));
    REQUIRE (run.waitForRest());
    const auto seconds = (now() - start) / 1000.0;
    run.keepPicture ("first-5-exported");
    WARN ("first session: 5 actions, " << answers << " answers, " << seconds << " s");
    CHECK (seconds < 60.0);

    // What was saved gives the same files on the command line.
    user.answerChoosers ({ { user.file ("Take.dls").getFullPathName() } });
    user.x.key ("ctrl+s");
    REQUIRE (waitUntil ([&] { return user.file ("Take.dls").existsAsFile(); }));
    REQUIRE (run.waitForRest());
    CHECK (run.quit() == 0);
    const auto reference = user.file ("reference");
    REQUIRE (runCommand ({ "export",
                           user.file ("Take.dls").getFullPathName().toStdString(),
                           "--out",
                           reference.getFullPathName().toStdString() })
             == 0);
    CHECK (namesIn (reference) == namesIn (out));

    for (const auto& file : reference.findChildFiles (juce::File::findFiles, false, "*.wav"))
    {
        INFO (file.getFileName());
        CHECK (file.getSize() > 4 * 44100 * 3);
        CHECK (file.hasIdenticalContentTo (out.getChildFile (file.getFileName())));
    }
}

TEST_CASE ("Choosers and keys", "[window][choosers]")
{
    UserAtScreen user (testDisplay());
    user.presetExperiencedUser();
    WorkingRun working (user);
    auto& run = working.run;
    const auto calls = [&] { return user.chooserCalls().size(); };
    // A key that comes while the last chooser is about to end does nothing, so it is pressed again.
    const auto callAfter = [&] (const char* key)
    {
        const auto count = calls();
        REQUIRE (run.waitForRest());
        REQUIRE (waitUntil (
            [&]
            {
                user.x.key (key);

                // An export to a folder asks for the type first.
                if (waitUntil ([&] { return calls() > count || run.asksSomething(); }, 5000)
                    && calls() == count)
                    user.x.key ("Return");

                return waitUntil ([&] { return calls() > count; }, 5000);
            },
            40000));
        return user.chooserCalls()[count];
    };

    // A name that a chooser's usual separator would cut in two, and an extension in capitals.
    const auto odd = user.newFolder ("In").getFullPathName() + "/ take 12:30|snare .WAV";
    REQUIRE (juce::File (user.file ("Take 1/SD Top.wav")).copyFileTo (juce::File (odd)));
    const auto group = user.file ("A: b.dls").getFullPathName();
    user.answerChoosers ({ { odd } });
    const auto import = callAfter ("ctrl+i");
    CHECK (hasArgument (import, "--title=Select files to import..."));
    CHECK (hasArgument (import, "--multiple"));
    CHECK (import.contains ("*.wav *.WAV *.aiff *.AIFF *.caf *.CAF *.aif *.AIF"));
    user.answerChoosers ({ { group } });
    const auto saveAs = callAfter ("ctrl+shift+s");
    CHECK (hasArgument (saveAs, "--title=Choose a file to save... (Take 1)"));
    CHECK (hasArgument (saveAs, "--save"));
    REQUIRE (waitUntil ([&] { return juce::File (group).existsAsFile(); }));

    // The folders of the answers are where the next choosers of their kind begin.
    const auto open = callAfter ("ctrl+o");
    CHECK (hasArgument (open, "--title=Choose a file to open..."));
    CHECK (hasArgument (open, "--filename=" + user.home.getFullPathName() + "/"));
    const auto folders = callAfter ("ctrl+f");
    CHECK (hasArgument (folders, "--title=Select folders to import..."));
    CHECK (hasArgument (folders, "--directory"));
    CHECK (hasArgument (folders, "--filename=" + user.file ("In").getFullPathName() + "/"));
    const auto fromGroup = callAfter ("ctrl+d");
    CHECK (hasArgument (fromGroup, "--title=Select files to import..."));
    CHECK (fromGroup.contains ("*.dls *.DLS"));
    CHECK_FALSE (hasArgument (fromGroup, "--multiple"));

    REQUIRE (run.waitForRest());
    REQUIRE (run.analyze());
    const auto exportTrack = callAfter ("ctrl+e");
    CHECK (exportTrack.contains ("--title=Choose a file to export your audio - "));
    CHECK (hasArgument (callAfter ("ctrl+x"), "--title=Choose a folder to export your audio - Take 1"));
    CHECK (hasArgument (callAfter ("ctrl+shift+x"), "--title=Choose a folder to export your audio..."));

    // Ctrl+W is nobody's, and in a text field Ctrl+X is the field's.
    REQUIRE (run.waitForRest());
    const auto count = calls();
    user.x.key ("ctrl+w");
    user.x.key ("F2");
    user.x.key ("ctrl+a");
    user.x.key ("ctrl+x");
    user.x.type ("Renamed");
    user.x.key ("Return");
    user.answerChoosers ({});
    CHECK (hasArgument (callAfter ("ctrl+shift+s"), "--title=Choose a file to save... (Renamed)"));
    CHECK (calls() == count + 1);
    CHECK (run.process.isRunning());

    // Overwriting is asked about; refused, it leaves the files alone.
    const auto out = user.newFolder ("Out");
    user.answerChoosers ({ { out.getFullPathName() } });
    callAfter ("ctrl+x");
    REQUIRE (waitUntil ([&] { return namesIn (out).size() == 5; }));
    REQUIRE (run.waitForRest());
    const auto first = out.getChildFile (namesIn (out)[0]);
    REQUIRE (first.replaceWithText ("mine"));
    user.answerChoosers ({ { out.getFullPathName() }, { out.getFullPathName() } });
    callAfter ("ctrl+x");
    REQUIRE (run.waitForDialog());
    run.keepPicture ("overwrite");
    user.x.key ("Escape");
    REQUIRE (run.waitForNoDialog());
    CHECK (first.loadFileAsString() == "mine");
    callAfter ("ctrl+x");
    REQUIRE (run.waitForDialog());
    user.x.key ("Tab"); // the focus was on Cancel
    user.x.key ("Return");
    CHECK (waitUntil ([&] { return first.getSize() > 1000; }));
    run.answerUntilRest ("Escape");
}

TEST_CASE ("Unsaved work", "[window][recovery]")
{
    UserAtScreen user (testDisplay());
    user.presetExperiencedUser();
    const auto hasEntry = [&]
    {
        return ! user.file (".local/state/tessivar/recovery")
                     .findChildFiles (juce::File::findFiles, false, "*.recovery")
                     .isEmpty();
    };
    const auto recover = [&]
    {
        ProgramRun run (user);
        REQUIRE (waitUntil ([&] { return run.waitForWindow (100) || run.isDimmed(); }));
        REQUIRE (run.waitForDialog());
        run.keepPicture ("recovery");
        CHECK (run.answerUntilRest() >= 1);
        CHECK (waitUntil ([&] { return run.showsTrack(); }));
    };

    SECTION ("is asked about at the end, and saved when that is wanted")
    {
        WorkingRun working (user);
        auto& run = working.run;
        REQUIRE (run.quitUntilAsked());
        run.keepPicture ("quit");
        user.x.key ("Escape");
        REQUIRE (run.waitForNoDialog());
        CHECK (run.process.isRunning());
        user.answerChoosers ({ { user.file ("Kept.dls").getFullPathName() } });
        user.x.askToClose (run.window);
        REQUIRE (waitUntil ([&] { return run.asksSomething(); }));
        user.x.key ("Return");
        REQUIRE (run.process.waitForEnd (20000) == 0);
        CHECK (user.file ("Kept.dls").existsAsFile());
    }

    SECTION ("is let go for good when that is wanted")
    {
        {
            WorkingRun working (user);
            auto& run = working.run;
            REQUIRE (waitUntil (hasEntry));
            REQUIRE (run.quitUntilAsked());
            user.x.click (run.leftOfDialog());
            REQUIRE (run.process.waitForEnd (20000) == 0);
            CHECK (user.chooserCalls().isEmpty());
        }

        CHECK_FALSE (hasEntry());
        ProgramRun next (user);
        REQUIRE (next.waitForWindow());
        CHECK (next.answerUntilRest() == 0);
        CHECK_FALSE (next.showsTrack());
        CHECK (next.quit() == 0); // with nothing to lose, nothing is asked
    }

    SECTION ("is offered again after the program was killed")
    {
        {
            WorkingRun working (user);
            REQUIRE (waitUntil (hasEntry));
            working.run.process.signal (SIGKILL);
            REQUIRE (working.run.process.waitForEnd (10000) == 256 + SIGKILL);
        }

        recover();
    }

    SECTION ("outlives the end of the user's session, however young it is")
    {
        {
            WorkingRun working (user);
            working.run.process.signal (SIGTERM);
            CHECK (working.run.process.waitForEnd (10000) == 0);
        }

        CHECK (hasEntry());
        recover();
    }
}

TEST_CASE ("The last session", "[window][reopen]")
{
    UserAtScreen user (testDisplay());
    user.presetExperiencedUser();
    const auto saved = user.file ("Take 7.dls");
    const juce::Rectangle<int> rows (0, 119, 280, 227);
    juce::Image before;
    const auto zoomed = juce::Rectangle<int> (400, 110, 500, 200);
    const auto reopen = [] (const ProgramRun& run) { return run.at (980, 483); };

    {
        WorkingRun working (user);
        auto& run = working.run;
        user.answerChoosers ({ { saved.getFullPathName() } });
        user.x.key ("ctrl+s");
        REQUIRE (waitUntil ([&] { return saved.existsAsFile(); }));
        REQUIRE (run.waitForRest());
        user.x.key ("Down");
        user.x.key ("shift+Right");

        for (int i = 0; i < 3; ++i)
            user.x.key ("plus");

        REQUIRE (run.waitForRest());

        // Until all waveforms, those in the rows too, have been read and are exact.
        REQUIRE (waitUntil (
            [&]
            {
                before = run.picture();
                juce::Thread::sleep (1000);
                return run.showsSame (before, zoomed) && run.showsSame (before, rows);
            },
            60000));
        CHECK (run.quit() == 0);
    }

    SECTION ("comes back as it was looked at")
    {
        ProgramRun run (user);
        REQUIRE (run.waitForWindow());
        run.keepPicture ("reopen-1-offered");
        user.x.click (reopen (run));
        user.x.moveTo (run.at (640, 700));
        CHECK (waitUntil ([&] { return run.showsSame (before, zoomed) && ! run.isDimmed(); }));
        CHECK (waitUntil ([&] { return run.showsSame (before, rows); }));
        run.keepPicture ("reopen-2-opened");
        CHECK (run.quit() == 0);
    }

    SECTION ("is greyed when its file is gone")
    {
        REQUIRE (saved.deleteFile());
        ProgramRun run (user);
        REQUIRE (run.waitForWindow());
        run.keepPicture ("reopen-3-gone");
        user.x.click (reopen (run));
        CHECK (run.waitForRest());
        CHECK_FALSE (run.showsTrack());
        CHECK (run.quit() == 0);
    }
}

TEST_CASE ("The bleed map by keys", "[window][bleed]")
{
    UserAtScreen user (testDisplay());
    user.presetExperiencedUser();
    WorkingRun working (user);
    auto& run = working.run;
    REQUIRE (run.analyze());
    const auto row = [] (int index) { return juce::Rectangle<int> (4, 122 + 57 * index, 28, 50); };
    const auto wave = juce::Rectangle<int> (400, 110, 500, 200);
    const auto before = run.picture();
    user.x.key ("m");
    REQUIRE (waitUntil ([&] { return ! run.showsSame (before, wave); }));
    run.keepPicture ("bleed-1-open");

    // Who asks for the spectrum leaves the map, whether it lay under it or not.
    const auto map = run.picture();
    user.x.key ("g");
    CHECK (waitUntil ([&] { return ! run.showsSame (map, wave) && ! run.showsSame (before, wave); }));
    run.keepPicture ("bleed-3-spectrum");
    user.x.key ("g");
    CHECK (waitUntil ([&] { return run.showsSame (before, wave); }));
    user.x.key ("m");
    REQUIRE (waitUntil ([&] { return run.showsSame (map, wave); }));

    // From the first track's own drum to the third microphone's.
    for (const auto* key : { "Down", "Down", "Return" })
        user.x.key (key);

    CHECK (
        waitUntil ([&] { return ! run.showsSame (before, row (0)) && ! run.showsSame (before, row (2)); }));
    CHECK (run.showsSame (before, row (1)));
    run.keepPicture ("bleed-2-chosen");
    user.x.key ("Escape");
    user.x.key ("Home");
    CHECK (user.x.heartbeat (run.window));
    CHECK (run.quitUntilAsked());
}

TEST_CASE ("A second start", "[window][instance]")
{
    UserAtScreen user (testDisplay());
    user.presetExperiencedUser();
    const auto files = user.recording (4.0);
    ProgramRun first (user);
    REQUIRE (first.waitForWindow());
    ProgramRun second (user, files);
    CHECK (second.process.waitForEnd (5000) == 0);
    CHECK (waitUntil ([&] { return first.showsTrack(); }));
    CHECK (user.x.windows().size() == 1);
}

TEST_CASE ("What is told", "[window][told]")
{
    UserAtScreen user (testDisplay());

    SECTION ("an analysis that would change nothing is refused")
    {
        user.presetExperiencedUser();
        WorkingRun working (user);
        auto& run = working.run;
        REQUIRE (run.analyze());
        const auto before = user.programLog();
        user.x.key ("ctrl+p");
        REQUIRE (waitUntil ([&] { return run.asksSomething(); }));
        CHECK (run.answerUntilRest() == 1);
        const auto added = user.programLog().substring (before.length());
        CHECK (added.contains ("Group has not changed"));
        CHECK_FALSE (added.contains ("Analyzing"));
        CHECK (run.exportIsPrimary());
    }

    SECTION ("a warning that is not wanted again stays away, in the next run too")
    {
        user.presetSettings ({ { "FirstTime", "FALSE" } });
        const auto files = user.recording (4.0); // short, which is what the warning is about
        const auto questionsAfterDrop = [&] (bool silencing)
        {
            ProgramRun run (user);
            REQUIRE (run.waitForWindow());
            REQUIRE (user.x.drop (run.window, run.waveform(), files));
            REQUIRE (waitUntil ([&] { return run.asksSomething() || run.showsTrack(); }));

            if (silencing)
            {
                REQUIRE (waitUntil ([&] { return run.asksSomething(); }));
                user.x.click (run.leftOfDialog());
                user.x.moveTo (run.at (20, 200)); // no hover on the picture
                run.keepPicture ("silenced");
            }

            const auto count = run.answerUntilRest();
            CHECK (run.showsTrack());
            REQUIRE (run.quitUntilAsked());
            user.x.click (run.leftOfDialog());
            REQUIRE (run.process.waitForEnd (20000) == 0);
            return count;
        };
        CHECK (questionsAfterDrop (true) == 1);
        CHECK (questionsAfterDrop (false) == 0);
    }

    SECTION ("files that come while a dialog is open wait for its end")
    {
        user.presetExperiencedUser();
        const auto files = user.recording (4.0);
        ProgramRun run (user);
        REQUIRE (run.waitForWindow());
        user.x.key ("ctrl+x"); // there is nothing to export
        REQUIRE (waitUntil ([&] { return run.asksSomething(); }));
        REQUIRE (user.x.drop (run.window, run.waveform(), files));
        juce::Thread::sleep (500);
        CHECK (run.asksSomething());
        CHECK_FALSE (user.programLog().contains ("Importing"));
        CHECK (run.answerUntilRest() == 1);
        CHECK (waitUntil ([&] { return run.showsTrack(); }));
    }
}
