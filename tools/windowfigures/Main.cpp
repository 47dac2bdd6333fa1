#include "tools/windowdriver/ProgramRun.h"
#include "tools/windowdriver/VirtualScreen.h"

#include <algorithm>
#include <iostream>
#include <numeric>

namespace tessivar::test
{

namespace
{
constexpr auto usage =
    "Usage: tessivar_window_figures --group=FILE.dls [--program=PATH] [--rounds=N] [--files=N]\n"
    "\n"
    "Measures the window on a screen of its own: start to painted, memory and processor "
    "time with an analyzed\n"
    "Group open and idle, a knob step to the exact picture, and the answers while files "
    "are dropped. Make the\n"
    "Group with tessivar-cli: analyze --save FILE.dls TRACK...\n";

double now()
{
    return juce::Time::getMillisecondCounterHiRes();
}

void print (const juce::String& name, std::vector<double> values, const char* unit)
{
    if (values.empty())
        return;

    std::sort (values.begin(), values.end());
    std::cout << name.paddedRight (' ', 44) << " median " << juce::String (values[values.size() / 2], 1)
              << ", least " << juce::String (values.front(), 1) << ", most "
              << juce::String (values.back(), 1) << " " << unit << " (" << values.size() << ")" << std::endl;
}

/** Megabytes of a process: what it has for itself in memory, and all that is resident. */
struct Memory
{
    double own = 0.0, resident = 0.0;
};

Memory memoryOf (int pid)
{
    Memory memory;

    for (const auto& line : juce::StringArray::fromLines (
             juce::File ("/proc/" + juce::String (pid) + "/status").loadFileAsString()))
    {
        const auto megabytes = line.fromFirstOccurrenceOf (":", false, false).getDoubleValue() / 1024.0;

        if (line.startsWith ("VmRSS:"))
            memory.resident = megabytes;
        else if (line.startsWith ("RssAnon:"))
            memory.own = megabytes;
    }

    return memory;
}

/** When an area has last changed, in ms since the call, watched for so long. */
double lastChange (ProgramRun& run, juce::Rectangle<int> area, double watchedMs)
{
    const auto start = now();
    auto before = run.picture();
    auto changed = 0.0;

    while (now() - start < watchedMs)
        if (! run.showsSame (before, area))
        {
            changed = now() - start;
            before = run.picture();
        }

    return changed;
}

void measureStart (UserAtScreen& user, const juce::File& program, int rounds)
{
    std::vector<double> times;

    for (int i = 0; i < rounds; ++i)
    {
        ProgramRun run (user, {}, {}, program);

        if (! run.waitForWindow())
            throw std::runtime_error ("no window");

        times.push_back (run.usableAfter);
        [[maybe_unused]] const auto end = run.quit();
    }

    print ("start to painted and answering", times, "ms");
}

void measureGroup (UserAtScreen& user, const juce::File& program, const juce::String& group, int rounds)
{
    ProgramRun run (user, { group }, {}, program);

    if (! run.waitForWindow() || ! waitUntil ([&] { return run.showsTrack() && ! run.isDimmed(); }, 120000))
        throw std::runtime_error ("the Group doesn't open");

    // Pyramids are read behind it; then it rests.
    auto used = run.process.processorSeconds();
    auto idle = 1.0;

    for (int i = 0; i < 60 && idle > 0.05; ++i)
    {
        juce::Thread::sleep (2000);
        idle = (run.process.processorSeconds() - std::exchange (used, run.process.processorSeconds())) / 2.0;
    }

    juce::Thread::sleep (10000);
    std::cout << "idle: " << juce::String (10.0 * (run.process.processorSeconds() - used), 2)
              << " % of a core over 10 s" << std::endl;
    const auto memory = memoryOf (run.process.pid());
    std::cout << "memory: " << juce::roundToInt (memory.own) << " MB of its own, "
              << juce::roundToInt (memory.resident) << " MB resident" << std::endl;

    const juce::Rectangle<int> wave (400, 130, 700, 340);
    user.x.key ("n"); // where there is something to see when zoomed in
    user.x.key ("n");
    user.x.key ("Down"); // a track with much leakage

    for (int i = 0; i < 30; ++i)
        user.x.key ("alt+Up"); // where a step of the knob is one of the picture

    for (const auto& [name, zooms] :
         { std::pair{ "whole track", 0 }, { "zoomed in 6 steps", 6 }, { "12 steps", 12 } })
    {
        for (int i = 0; i < 6 && zooms > 0; ++i)
            user.x.key ("plus");

        juce::Thread::sleep (3000);
        std::vector<double> times;

        for (int i = 0; i < rounds; ++i)
        {
            user.x.key (i % 2 == 0 ? "alt+Up" : "alt+Down");

            if (const auto time = lastChange (run, wave, 1500.0); time > 0.0)
                times.push_back (time); // else the step is too small to be seen
        }

        print (juce::String ("knob step to the exact picture, ") + name, times, "ms");
        run.keepPicture (juce::String ("figures-") + name);
    }
}

void measureDrop (UserAtScreen& user, const juce::File& program, int numFiles)
{
    const auto source = juce::File (user.recording (1.0)[0]);
    const auto folder = user.newFolder ("many");
    juce::StringArray paths;

    for (int i = 0; i < numFiles; ++i)
    {
        paths.add (folder.getChildFile ("Tom " + juce::String (i) + ".wav").getFullPathName());

        if (! source.copyFileTo (juce::File (paths.strings.getLast())))
            throw std::runtime_error ("no files to drop");
    }

    ProgramRun run (user, {}, {}, program);

    if (! run.waitForWindow() || ! user.x.drop (run.window, run.waveform(), paths))
        throw std::runtime_error ("nothing is taken");

    std::vector<double> beats;

    for (const auto start = now(); now() - start < 15000.0;)
    {
        beats.push_back (user.x.heartbeat (run.window).value_or (5000.0));
        juce::Thread::sleep (2);
    }

    print ("answers, " + juce::String (numFiles) + " files dropped", beats, "ms");
}
} // namespace

int runFigures (const juce::ArgumentList& arguments)
{
    const auto group = arguments.getValueForOption ("--group");

    if (arguments.containsOption ("--help|-h") || group.isEmpty())
    {
        std::cout << usage;
        return group.isEmpty() ? 2 : 0;
    }

    if (const auto missing = VirtualScreen::missingPrograms(); ! missing.isEmpty())
    {
        std::cout << "not installed: " << missing.joinIntoString (", ") << std::endl;
        return 77;
    }

    const auto numberOf = [&] (const char* option, int otherwise)
    {
        const auto value = arguments.getValueForOption (option);
        return value.isNotEmpty() ? value.getIntValue() : otherwise;
    };
    const auto rounds = numberOf ("--rounds", 11);
    const VirtualScreen screen;
    UserAtScreen user (screen.name());
    user.presetExperiencedUser();
    const auto chosen = arguments.getValueForOption ("--program");
    const auto program = chosen.isNotEmpty() ? juce::File (chosen) : ProgramRun::standardProgram();
    measureStart (user, program, rounds);
    measureGroup (user, program, group, rounds);
    measureDrop (user, program, numberOf ("--files", 500));
    return 0;
}

} // namespace tessivar::test

int main (int argc, char* argv[])
{
    return tessivar::test::runFigures (juce::ArgumentList (argc, argv));
}
