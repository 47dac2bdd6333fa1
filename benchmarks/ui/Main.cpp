#include "benchmarks/ui/UiBenchmarks.h"

#include <algorithm>
#include <ctime>
#include <iostream>

namespace tessivar
{

double threadMilliseconds()
{
    timespec time{};
    clock_gettime (CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double> (time.tv_sec) * 1.0e3 + static_cast<double> (time.tv_nsec) / 1.0e6;
}

void printTimes (const std::string& name, std::vector<double> times)
{
    std::sort (times.begin(), times.end());
    std::cout << "  " << name << ": median " << times[times.size() / 2] << " ms, 95 % "
              << times[times.size() * 95 / 100] << " ms, worst " << times.back() << " ms\n";
}

} // namespace tessivar

/** Measures what painting costs, without a screen: tessivar_ui_benchmarks [dialog | wave], default both. */
int main (int argc, char* argv[])
{
    const std::string only = argc > 1 ? argv[1] : "";

    if (argc > 2 || (argc == 2 && only != "dialog" && only != "wave"))
    {
        std::cerr << "usage: tessivar_ui_benchmarks [dialog | wave]\n";
        return 1;
    }

    if (only != "wave")
        tessivar::measureProgressDialog();

    if (only != "dialog")
        tessivar::measureWaveViewer();

    return 0;
}
