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

/** One value a round. */
class Series
{
public:
    void add (double value) { list.push_back (value); }

    [[nodiscard]] bool empty() const { return list.empty(); }
    [[nodiscard]] const std::vector<double>& values() const { return list; }

    /** NaN when there are no values. */
    [[nodiscard]] double median() const;
    [[nodiscard]] double minimum() const;

    /** The same with f (value) for every value. */
    [[nodiscard]] Series mapped (const std::function<double (double)>& f) const;

private:
    std::vector<double> list;
};

/** a[i] / b[i]: the ratio round by round, so that what slows the machine for a while slows both. */
[[nodiscard]] Series ratios (const Series& a, const Series& b);

/** CPU seconds that the machine spent for others than this process and its children since the object was made;
    counts stolen time too. Always 0 where the system does not say. */
class ForeignLoad
{
public:
    ForeignLoad();

    [[nodiscard]] double seconds() const;

private:
    double busyAtStart, ownAtStart;
};

/** How often measurements are repeated on a machine that others use too. */
struct RoundPolicy
{
    int numRounds = 7;
    double tolerableLoad = 0.03; // CPU seconds of others a second
    double patienceSeconds = 30.0;
};

/** Runs round() until numRounds of them passed without much work of others in between. A disturbed round is
    thrown away while the patience lasts, which counts waiting and thrown-away rounds; after that every round
    counts. round (keep) must not record its figures itself but return a function that does.

    Returns the number of disturbed rounds that counted all the same. */
int runRounds (const RoundPolicy& policy, const std::function<std::function<void()>()>& round);

/** Lets threads that wait actively after a call of a library fall asleep, so that they don't disturb what is
    measured next. */
void settle();

/** A line to standard error about what is going on. */
void announce (const std::string& text);

/** The value with a fixed number of decimals and commas between thousands; a dash for NaN. */
[[nodiscard]] std::string number (double value, int decimals = 0);
[[nodiscard]] std::string percent (double fraction);

} // namespace tessivar::benchmarks
