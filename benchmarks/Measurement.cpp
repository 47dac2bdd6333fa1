#include "benchmarks/Measurement.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <limits>
#include <thread>

#include <sys/resource.h>
#include <unistd.h>

namespace tessivar::benchmarks
{

namespace
{
double secondsOf (clockid_t clock)
{
    timespec time{};
    clock_gettime (clock, &time);
    return static_cast<double> (time.tv_sec) + 1.0e-9 * static_cast<double> (time.tv_nsec);
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
    const auto of = [] (int who)
    {
        rusage usage{};
        getrusage (who, &usage);
        const auto seconds = [] (const timeval& t)
        { return static_cast<double> (t.tv_sec) + 1.0e-6 * static_cast<double> (t.tv_usec); };
        return seconds (usage.ru_utime) + seconds (usage.ru_stime);
    };

    return of (RUSAGE_SELF) + of (RUSAGE_CHILDREN);
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

Duration currentTime()
{
    return { secondsOf (CLOCK_MONOTONIC), secondsOf (CLOCK_PROCESS_CPUTIME_ID) };
}

Duration measure (const std::function<void()>& work)
{
    const auto start = currentTime();
    work();
    const auto end = currentTime();
    return { end.wall - start.wall, end.cpu - start.cpu };
}

double Series::median() const
{
    if (list.empty())
        return std::numeric_limits<double>::quiet_NaN();

    auto sorted = list;
    std::sort (sorted.begin(), sorted.end());
    const auto middle = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[middle] : 0.5 * (sorted[middle - 1] + sorted[middle]);
}

double Series::minimum() const
{
    return list.empty() ? std::numeric_limits<double>::quiet_NaN()
                        : *std::min_element (list.begin(), list.end());
}

Series Series::mapped (const std::function<double (double)>& f) const
{
    Series result;

    for (const auto value : list)
        result.add (f (value));

    return result;
}

Series ratios (const Series& a, const Series& b)
{
    Series result;

    for (std::size_t i = 0; i < std::min (a.values().size(), b.values().size()); ++i)
        result.add (a.values()[i] / b.values()[i]);

    return result;
}

ForeignLoad::ForeignLoad() : busyAtStart (busySeconds()), ownAtStart (ownSeconds()) {}

double ForeignLoad::seconds() const
{
    return std::max (0.0, (busySeconds() - busyAtStart) - (ownSeconds() - ownAtStart));
}

int runRounds (const RoundPolicy& policy, const std::function<std::function<void()>()>& round)
{
    const auto start = currentTime().wall;
    int numDisturbed = 0;
    double useful = 0.0;

    for (int done = 0; done < policy.numRounds;)
    {
        const auto patience = policy.patienceSeconds - (currentTime().wall - start - useful);
        waitForQuiet (patience, policy.tolerableLoad);

        const ForeignLoad load;
        std::function<void()> keep;
        const auto taken = measure ([&] { keep = round(); }).wall;
        const auto isDisturbed = load.seconds() > policy.tolerableLoad * taken + 0.02;

        if (isDisturbed && patience > taken)
            continue;

        keep();
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

} // namespace tessivar::benchmarks
