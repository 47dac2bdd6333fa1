#pragma once

#include <deque>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace tessivar::benchmarks
{

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
    [[nodiscard]] double maximum() const;

    /** A series with f applied to every value. */
    [[nodiscard]] Series mapped (const std::function<double (double)>& f) const;

private:
    std::vector<double> list;
};

/** a[i] / b[i]: ratios round by round, so that whatever slows the machine for a while slows both. */
[[nodiscard]] Series ratios (const Series& a, const Series& b);
[[nodiscard]] Series sums (const Series& a, const Series& b);

/** What a figure was measured on, such as { "tracks": 8, "threads": 2 }. */
using Case = nlohmann::ordered_json;

/** What a benchmark measured, each figure known by its case and its name. docs/performance.md lists names and
    units: programs hold Tessivar to them, so that none is renamed or changes its meaning. */
class Figures
{
public:
    void add (const Case& subject, const std::string& name, const std::string& unit, double value);
    void add (const Case& subject, const std::string& name, const std::string& unit, const Series& values);

    /** Empty when there is no such figure. */
    [[nodiscard]] const Series& of (const Case& subject, const std::string& name) const;

    /** Adds the values of other to those of equal case and name. */
    void merge (const Figures& other);

    /** Appends an object for each figure to list. */
    void appendTo (nlohmann::ordered_json& list, const std::string& benchmark) const;

private:
    struct Figure
    {
        Case subject;
        std::string name, unit;
        Series values;
    };

    Figure& at (const Case& subject, const std::string& name, const std::string& unit);

    std::deque<Figure> figures; // references to series stay valid
};

} // namespace tessivar::benchmarks
