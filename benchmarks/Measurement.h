#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tessivar::benchmarks
{

/** Wall time and the CPU time of all threads of this process, in seconds. */
struct Duration
{
    double wall = 0.0;
    double cpu = 0.0;
};

[[nodiscard]] Duration currentTime();
[[nodiscard]] Duration measure (const std::function<void()>& work);

/** One value per round. */
class Series
{
public:
    void add (double value) { list.push_back (value); }

    [[nodiscard]] bool empty() const { return list.empty(); }
    [[nodiscard]] const std::vector<double>& values() const { return list; }

    /** NaN without values. */
    [[nodiscard]] double median() const;
    [[nodiscard]] double minimum() const;

    /** A series with f applied to every value. */
    [[nodiscard]] Series mapped (const std::function<double (double)>& f) const;

private:
    std::vector<double> list;
};

/** a[i] / b[i]: ratios round by round, so that whatever slows the machine for a while slows both. */
[[nodiscard]] Series ratios (const Series& a, const Series& b);

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

/** Runs round() until numRounds rounds have passed with little work of others. Disturbed rounds are discarded
    until patienceSeconds have gone into waiting and discarded rounds; after that every round counts. round()
    must not record its figures itself but return a function that does.

    Returns the number of disturbed rounds that counted. */
int runRounds (const RoundPolicy& policy, const std::function<std::function<void()>()>& round);

/** Lets threads that keep spinning after a library call fall asleep, so that they don't disturb the next
    measurement. */
void settle();

/** Prints a line about the progress to standard error. */
void announce (const std::string& text);

/** The value with fixed decimals and commas between thousands; a dash for NaN. */
[[nodiscard]] std::string number (double value, int decimals = 0);
[[nodiscard]] std::string percent (double fraction);

} // namespace tessivar::benchmarks
