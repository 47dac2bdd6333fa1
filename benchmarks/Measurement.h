#pragma once

#include "benchmarks/Figures.h"

#include <functional>
#include <string>

#include <sys/time.h>

namespace tessivar::benchmarks
{

/** Wall time and CPU time in seconds. */
struct Duration
{
    double wall = 0.0;
    double user = 0.0;
    double system = 0.0;

    [[nodiscard]] double cpu() const { return user + system; }
};

[[nodiscard]] Duration operator- (const Duration& a, const Duration& b);
Duration& operator+= (Duration& a, const Duration& b);

[[nodiscard]] double secondsOf (const timeval& time);

/** CPU times are those of all threads of this process. */
[[nodiscard]] Duration currentTime();
[[nodiscard]] Duration measure (const std::function<void()>& work);

/** CPU seconds the machine spent on others than this process and its children since construction, stolen time
    included. Always 0 where the system doesn't say. */
class ForeignLoad
{
public:
    ForeignLoad();

    [[nodiscard]] double seconds() const;

private:
    double busyAtStart, ownAtStart;
};

/** How often to repeat measurements on a machine that others use too. */
struct RoundPolicy
{
    int numRounds = 7;
    double tolerableLoad = 0.03; // CPU seconds of others per second
    double patienceSeconds = 30.0;
};

/** Runs round() until numRounds rounds have passed with little work of others; kept gets their figures.
    Disturbed rounds are discarded until patienceSeconds have gone into waiting and discarded rounds; after
    that every round counts.

    Returns the number of disturbed rounds that counted. */
int runRounds (const RoundPolicy& policy, Figures& kept, const std::function<void (Figures&)>& round);

/** Lets threads that keep spinning after a library call fall asleep, so that they don't disturb the next
    measurement. */
void settle();

/** Prints a line about the progress to standard error. */
void announce (const std::string& text);

/** The value with fixed decimals and commas between thousands; a dash for NaN. */
[[nodiscard]] std::string number (double value, int decimals = 0);
[[nodiscard]] std::string percent (double fraction);

/** "8 x 300 s", and the rate where it isn't 44.1 kHz. */
[[nodiscard]] std::string sessionLabel (int numTracks, int seconds, int sampleRate = 44100);

} // namespace tessivar::benchmarks
