#include "benchmarks/Measurement.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <thread>

#include <sys/resource.h>
#include <unistd.h>

namespace tessivar::benchmarks
{

namespace
{
Duration cpuTimeOf (int who)
{
    rusage usage{};
    getrusage (who, &usage);
    return { 0.0, secondsOf (usage.ru_utime), secondsOf (usage.ru_stime) };
}

/** CPU seconds that all processors were busy or stolen since the machine started. */
double busySeconds()
{
    std::ifstream file ("/proc/stat");
    std::string label;
    double user = 0, nice = 0, system = 0, idle = 0, wait = 0, interrupts = 0, softInterrupts = 0, stolen = 0;

    if (! (file >> label >> user >> nice >> system >> idle >> wait >> interrupts >> softInterrupts >> stolen))
        return 0.0;

    return (user + nice + system + interrupts + softInterrupts + stolen)
           / static_cast<double> (sysconf (_SC_CLK_TCK));
}

double ownSeconds()
{
    return cpuTimeOf (RUSAGE_SELF).cpu() + cpuTimeOf (RUSAGE_CHILDREN).cpu();
}

void waitForQuiet (double seconds, double tolerableLoad)
{
    constexpr double look = 0.3;

    for (double waited = 0.0; waited < seconds; waited += look)
    {
        const ForeignLoad load;
        std::this_thread::sleep_for (std::chrono::duration<double> (look));

        // The system counts in hundredths of a second.
        if (load.seconds() <= tolerableLoad * look + 0.02)
            return;
    }
}
} // namespace

Duration operator- (const Duration& a, const Duration& b)
{
    return { a.wall - b.wall, a.user - b.user, a.system - b.system };
}

Duration& operator+= (Duration& a, const Duration& b)
{
    return a = { a.wall + b.wall, a.user + b.user, a.system + b.system };
}

double secondsOf (const timeval& time)
{
    return static_cast<double> (time.tv_sec) + 1.0e-6 * static_cast<double> (time.tv_usec);
}

Duration currentTime()
{
    auto time = cpuTimeOf (RUSAGE_SELF);
    time.wall = std::chrono::duration<double> (std::chrono::steady_clock::now().time_since_epoch()).count();
    return time;
}

Duration measure (const std::function<void()>& work)
{
    const auto start = currentTime();
    work();
    return currentTime() - start;
}

ForeignLoad::ForeignLoad() : busyAtStart (busySeconds()), ownAtStart (ownSeconds()) {}

double ForeignLoad::seconds() const
{
    return std::max (0.0, (busySeconds() - busyAtStart) - (ownSeconds() - ownAtStart));
}

int runRounds (const RoundPolicy& policy, Figures& kept, const std::function<void (Figures&)>& round)
{
    const auto start = currentTime().wall;
    int numDisturbed = 0;
    double useful = 0.0;

    for (int done = 0; done < policy.numRounds;)
    {
        const auto patience = policy.patienceSeconds - (currentTime().wall - start - useful);
        waitForQuiet (patience, policy.tolerableLoad);

        const ForeignLoad load;
        Figures found;
        const auto taken = measure ([&] { round (found); }).wall;
        const auto isDisturbed = load.seconds() > policy.tolerableLoad * taken + 0.02;

        if (isDisturbed && patience > taken)
            continue;

        kept.merge (found);
        useful += taken;
        numDisturbed += isDisturbed ? 1 : 0;
        ++done;
    }

    return numDisturbed;
}

void settle()
{
    std::this_thread::sleep_for (std::chrono::milliseconds (60));
}

void announce (const std::string& text)
{
    std::cerr << text << std::endl;
}

std::string number (double value, int decimals)
{
    if (std::isnan (value))
        return "-";

    char text[64];
    std::snprintf (text, sizeof (text), "%.*f", decimals, value);
    std::string result = text;
    const auto point = std::min (result.find ('.'), result.size());
    const std::size_t firstDigit = result[0] == '-' ? 1 : 0;

    for (auto i = point; i > firstDigit + 3;)
        result.insert (i -= 3, ",");

    return result;
}

std::string percent (double fraction)
{
    return std::isnan (fraction) ? "-" : number (100.0 * fraction) + " %";
}

std::string sessionLabel (int numTracks, int seconds, int sampleRate)
{
    const auto label = std::to_string (numTracks) + " x " + std::to_string (seconds) + " s";
    return sampleRate == 44100 ? label : label + ", " + number (sampleRate * 1.0e-3) + " kHz";
}

} // namespace tessivar::benchmarks
