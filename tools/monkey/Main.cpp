#include "tools/filefaults/FileFaults.h"
#include "tools/windowdriver/ProgramRun.h"
#include "tools/windowdriver/VirtualScreen.h"
#include "tools/windowdriver/XDropTarget.h"

#include <iostream>
#include <utility>

namespace tessivar::test
{

namespace
{
constexpr auto usage =
    "Usage: tessivar_monkey [--seconds=N] [--seed=N] [--program=PATH] [--log=FILE]\n"
    "\n"
    "Clicks, drags, types and drops files at random in the program's window, drags rows out "
    "of it, takes folders away and\n"
    "brings them back, fills the disk of the temporary files (as root) and lets a sound "
    "server come and go (with jackd). Looks\n"
    "every few actions whether the window answers and whether Escape brings it back to "
    "rest. The same seed does the same.\n"
    "Ends with 1 when the program ended by itself or did not answer.\n";

constexpr int beatTimeoutMs = 10000; // a sanitized program on a busy machine
constexpr int actionsBetweenRests = 150;
constexpr int diskKilobytes = 64 << 10;                // of the temporary files
const juce::Rectangle<int> dropTarget{ 0, 0, 60, 60 }; // another program's window

double seconds()
{
    return juce::Time::getMillisecondCounterHiRes() / 1000.0;
}

/** One user who knows nothing and stops at nothing. */
class Monkey
{
public:
    Monkey (const std::string& displayName,
            const juce::File& programToUse,
            int seed,
            const juce::File& logFile)
        : program (programToUse), user (displayName), target (displayName, dropTarget), random (seed),
          log (logFile.createOutputStream()), disk (user.newFolder ("tmp"), diskKilobytes)
    {
        prepareFiles();
        user.presetSettings ({ { "FirstTime", "FALSE" },
                               { "tempFileLocation", user.file ("tmp").getFullPathName().toStdString() } });

        if (! disk.isMounted)
            std::cout << "monkey: without root no disk gets full" << std::endl;

        if (! programInPath ("jackd"))
            std::cout << "monkey: without jackd no device goes" << std::endl;
    }

    ~Monkey() { putBack(); }

    /** True when nothing went wrong. */
    bool run (double duration)
    {
        const auto end = seconds() + duration;

        while (seconds() < end)
        {
            ProgramRun session (user, {}, {}, program);
            ++starts;

            if (! waitUntil ([&] { return session.waitForWindow (200) || session.isDimmed(); }, 60000))
                return failed (session, "no window");

            if (! useUntilItEnds (session, end))
                return false;
        }

        std::cout << "monkey: " << actions << " actions, " << starts << " starts, " << rests << " rests, "
                  << drops << " rows taken by the other window, longest answer " << longestBeat << " ms"
                  << std::endl;
        return true;
    }

private:
    bool useUntilItEnds (ProgramRun& session, double end)
    {
        while (seconds() < end)
        {
            for (int i = 0; i < actionsBetweenRests && session.process.isRunning(); ++i)
            {
                act (session);

                if (i % 10 == 9 && ! answers (session))
                    return ! session.process.isRunning() ? endedWell (session)
                                                         : failed (session, "no answer");
            }

            if (! session.process.isRunning())
                return endedWell (session);

            if (! comesToRest (session))
                return ! session.process.isRunning() ? endedWell (session)
                                                     : failed (session, "Escape leads nowhere");
        }

        note ("the end");
        return true;
    }

    bool answers (ProgramRun& session)
    {
        const auto beat = user.x.heartbeat (session.window, beatTimeoutMs);
        longestBeat = std::max (longestBeat, beat.value_or (0.0));
        return beat.has_value();
    }

    /** Escape cancels jobs, dialogs, renames and menus. Files dropped meanwhile open one by one, each perhaps
        with a dialog.
    */
    bool comesToRest (ProgramRun& session)
    {
        note ("rest");
        ++rests;

        for (int i = 0; i < 200 && session.process.isRunning(); ++i)
        {
            user.x.key ("Escape");
            juce::Thread::sleep (150);

            if (i >= 3 && ! session.isDimmed())
                return answers (session);
        }

        return false;
    }

    bool endedWell (ProgramRun& session)
    {
        const auto code = session.process.waitForEnd (5000).value_or (-1);
        note ("ended with " + juce::String (code));
        return code == 0 || failed (session, "ended with " + juce::String (code));
    }

    bool failed (ProgramRun& session, const juce::String& what)
    {
        note ("FAILED: " + what);
        session.keepPicture ("monkey-failed");
        std::cout << "monkey: " << what << " after " << actions << " actions\n"
                  << user.file ("program.log").loadFileAsString() << std::endl;
        return false;
    }

    void note (const juce::String& text)
    {
        if (log != nullptr)
        {
            *log << juce::String (actions) << " " << text << "\n";
            log->flush();
        }
    }

    juce::Point<int> anywhere (const ProgramRun& session)
    {
        const auto bounds = user.x.boundsOf (session.window);

        // Half of the time where a dialog's buttons would be, else anywhere.
        if (random.nextInt (4) == 0)
            return bounds.getCentre().translated (random.nextInt (520) - 260, random.nextInt (440) - 220);

        return bounds.getPosition()
               + juce::Point<int> (2 + random.nextInt (std::max (1, bounds.getWidth() - 4)),
                                   2 + random.nextInt (std::max (1, bounds.getHeight() - 4)));
    }

    juce::String oneOf (const juce::StringArray& choices) { return choices[random.nextInt (choices.size())]; }

    /** Takes a folder away that the program knows, or brings it back. */
    void moveFolder()
    {
        if (away != juce::File())
            return putBack();

        away = user.file (oneOf ({ "short", "longer", "out 0" }));
        note ("folder away: " + away.getFileName());

        if (! away.moveFileTo (away.getSiblingFile (away.getFileName() + " away")))
            away = juce::File();
    }

    void putBack()
    {
        if (away == juce::File())
            return;

        note ("folder back");
        [[maybe_unused]] const auto isBack =
            away.getSiblingFile (away.getFileName() + " away").moveFileTo (away);
        away = juce::File();
    }

    /** All of the disk but a few kilobytes, or none of it. */
    void fillDisk()
    {
        const auto ballast = user.file ("tmp").getChildFile ("ballast");

        if (! disk.isMounted)
            return;

        ballast.deleteFile();

        if (std::exchange (isFull, ! isFull))
            return note ("room on the disk");

        note ("disk full");
        juce::FileOutputStream stream (ballast);
        const juce::MemoryBlock block (64 << 10, true);

        while (stream.openedOk() && stream.write (block.getData(), block.getSize())
               && stream.getStatus().wasOk())
            stream.flush();
    }

    void startOrStopSound()
    {
        if (sound != nullptr)
        {
            note ("sound server ends");
            sound.reset();
        }
        else if (const auto jackd = programInPath ("jackd"))
        {
            note ("sound server comes");
            auto environment = user.environment();
            const auto name = environment["JACK_DEFAULT_SERVER"];
            sound = std::make_unique<ChildProgram> (ChildProgram::Start{ .program = *jackd,
                                                                         .arguments = { "--no-realtime",
                                                                                        "-n",
                                                                                        name,
                                                                                        "-d",
                                                                                        "dummy",
                                                                                        "-r",
                                                                                        "48000",
                                                                                        "-p",
                                                                                        "512",
                                                                                        "-P",
                                                                                        "2" },
                                                                         .environment = environment,
                                                                         .outputFile = {} });
        }
    }

    /** From a row of the browser over the edge of the window, with time to write its file. */
    void dragOut (const ProgramRun& session)
    {
        // Only what is analyzed can go.
        if (random.nextInt (3) == 0)
            for (const auto* key : { "Escape", "Escape", "ctrl+p", "Return", "Return" })
            {
                note ("key " + juce::String (key));
                user.x.key (key);
                juce::Thread::sleep (400);
            }

        const auto from = session.at (200, 120 + random.nextInt (230));
        note ("drag out from " + from.toString());
        user.x.moveTo (from);
        user.x.press();
        user.x.moveTo (from.translated (160, 20));
        user.x.moveTo (from.translated (400, 60));
        juce::Thread::sleep (random.nextInt (400));
        user.x.moveTo (dropTarget.getCentre());
        user.x.moveTo (dropTarget.getCentre().translated (2, 2));
        juce::Thread::sleep (random.nextInt (100));
        user.x.release();

        if (target.takeDropped())
            ++drops;
    }

    void act (ProgramRun& session)
    {
        ++actions;
        const auto place = anywhere (session);
        const auto at = " at " + place.toString();

        switch (random.nextInt (20))
        {
            case 0:
            case 1:
            case 2:
            case 3:
                note ("click" + at);
                user.x.click (place);
                break;
            case 4:
                note ("double click" + at);
                user.x.click (place);
                user.x.click (place);
                break;
            case 5:
                note ("right click" + at);
                user.x.click (place, 3);
                break;
            case 6:
            case 7:
            {
                const auto to = anywhere (session);
                note ("drag" + at + " to " + to.toString());
                user.x.drag (place, to, 4);
                break;
            }
            case 8:
                note ("wheel" + at);
                user.x.click (place, 4 + random.nextInt (2));
                break;
            case 9:
            case 10:
            case 11:
            {
                const auto key = oneOf (plainKeys);
                note ("key " + key);
                user.x.key (key.toStdString());
                break;
            }
            case 12:
            {
                const auto key = oneOf (commandKeys);
                prepareChooser();
                note ("key " + key);
                user.x.key (key.toStdString());
                break;
            }
            case 13:
                note ("text");
                user.x.type (
                    oneOf ({ "12.5", "Take 7", "-1e9", "0:01.5", "%%%", "kick,snare;;" }).toStdString());
                break;
            case 14:
                drop (session, place);
                break;
            case 15:
            case 16:
                dragOut (session);
                break;
            case 17:
                moveFolder();
                break;
            case 18:
                if (random.nextInt (2) == 0)
                    fillDisk();
                else
                    startOrStopSound();
                break;
            default:
                note ("rest of " + juce::String (random.nextInt (300)) + " ms");
                juce::Thread::sleep (random.nextInt (300));
                break;
        }

        juce::Thread::sleep (random.nextInt (40));
    }

    void drop (ProgramRun& session, juce::Point<int> place)
    {
        juce::StringArray paths;

        for (int i = 1 + random.nextInt (5); --i >= 0;)
            paths.add (oneOf (files));

        note ("drop " + paths.joinIntoString (", ") + " at " + place.toString());
        [[maybe_unused]] const auto taken = user.x.drop (session.window, place, paths, 3000);
    }

    void prepareChooser()
    {
        juce::StringArray answer;

        switch (random.nextInt (4))
        {
            case 0:
                answer = { oneOf (files) };
                break;
            case 1:
                answer = { user.newFolder ("out " + juce::String (random.nextInt (3))).getFullPathName() };
                break;
            case 2:
                answer = {
                    user.file ("Saved " + juce::String (random.nextInt (3)) + ".dls").getFullPathName()
                };
                break;
            default:
                break; // cancelled
        }

        user.answerChoosers (answer.isEmpty() ? std::vector<juce::StringArray>()
                                              : std::vector<juce::StringArray>{ answer });
    }

    void prepareFiles()
    {
        files = user.recording (1.5, "short");
        files.addArray (user.recording (6.0, "longer"));
        const auto rubbish = user.file ("rubbish.wav"), group = user.file ("rubbish.dls");
        rubbish.replaceWithText ("RIFF no");
        group.replaceWithText ("no group");
        files.addArray ({ rubbish.getFullPathName(),
                          group.getFullPathName(),
                          user.file ("missing.wav").getFullPathName(),
                          user.file ("short").getFullPathName(),
                          user.file ("Saved 0.dls").getFullPathName(),
                          user.file ("Saved 1.dls").getFullPathName() });
    }

    const juce::StringArray plainKeys{ "Return",
                                       "Escape",
                                       "space",
                                       "Tab",
                                       "shift+Tab",
                                       "Up",
                                       "Down",
                                       "Left",
                                       "Right",
                                       "Home",
                                       "End",
                                       "Prior",
                                       "Next",
                                       "Delete",
                                       "F2",
                                       "F6",
                                       "F10",
                                       "F11",
                                       "a",
                                       "shift+a",
                                       "b",
                                       "r",
                                       "c",
                                       "e",
                                       "l",
                                       "i",
                                       "o",
                                       "f",
                                       "s",
                                       "0",
                                       "1",
                                       "4",
                                       "7",
                                       "plus",
                                       "minus",
                                       "shift+F10",
                                       "Menu",
                                       "alt+Up",
                                       "alt+Down",
                                       "alt+Left",
                                       "alt+0",
                                       "ctrl+c",
                                       "ctrl+v",
                                       "ctrl+a",
                                       "z",
                                       "shift+Return",
                                       "alt+shift+Up",
                                       "shift+F6",
                                       "F1",
                                       "g",
                                       "k",
                                       "m",
                                       "n",
                                       "p",
                                       "q",
                                       "shift+n",
                                       "shift+s",
                                       "t",
                                       "x" };
    const juce::StringArray commandKeys{ "ctrl+n", "ctrl+o",       "ctrl+s", "ctrl+shift+s", "ctrl+i",
                                         "ctrl+f", "ctrl+d",       "ctrl+p", "ctrl+shift+p", "ctrl+e",
                                         "ctrl+x", "ctrl+shift+x", "ctrl+z", "ctrl+shift+z", "ctrl+q",
                                         "ctrl+w", "ctrl+p",       "ctrl+p", "ctrl+z" };

    const juce::File program;
    UserAtScreen user;
    const XDropTarget target;
    juce::Random random;
    std::unique_ptr<juce::FileOutputStream> log;
    const SmallFileSystem disk;
    std::unique_ptr<ChildProgram> sound;
    juce::File away; // what was taken away, by its usual name
    bool isFull = false;
    juce::StringArray files;
    int actions = 0, starts = 0, rests = 0, drops = 0;
    double longestBeat = 0.0; // ms

    JUCE_DECLARE_NON_COPYABLE (Monkey)
};
} // namespace

int runMonkey (const juce::ArgumentList& arguments)
{
    if (arguments.containsOption ("--help|-h"))
    {
        std::cout << usage;
        return 0;
    }

    if (const auto missing = VirtualScreen::missingPrograms(); ! missing.isEmpty())
    {
        std::cout << "monkey: not installed: " << missing.joinIntoString (", ") << std::endl;
        return 77;
    }

    const auto valueOf = [&] (const char* option, const juce::String& otherwise)
    {
        const auto value = arguments.getValueForOption (option);
        return value.isNotEmpty() ? value : otherwise;
    };
    const VirtualScreen screen;
    const juce::File program (valueOf ("--program", ProgramRun::standardProgram().getFullPathName()));
    const juce::File log (valueOf ("--log", TESSIVAR_BIN_DIR "/../window-tests/monkey.log"));
    log.getParentDirectory().createDirectory();
    log.deleteFile();
    Monkey monkey (screen.name(), program, valueOf ("--seed", "1").getIntValue(), log);
    return monkey.run (valueOf ("--seconds", "600").getDoubleValue()) ? 0 : 1;
}

} // namespace tessivar::test

int main (int argc, char* argv[])
{
    return tessivar::test::runMonkey (juce::ArgumentList (argc, argv));
}
