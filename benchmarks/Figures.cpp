#include "benchmarks/Figures.h"

#include <algorithm>
#include <limits>

namespace tessivar::benchmarks
{

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

double Series::maximum() const
{
    return list.empty() ? std::numeric_limits<double>::quiet_NaN()
                        : *std::max_element (list.begin(), list.end());
}

Series Series::mapped (const std::function<double (double)>& f) const
{
    Series result;

    for (const auto value : list)
        result.add (f (value));

    return result;
}

namespace
{
template <typename Operation>
Series combined (const Series& a, const Series& b, Operation&& operation)
{
    Series result;

    for (std::size_t i = 0; i < std::min (a.values().size(), b.values().size()); ++i)
        result.add (operation (a.values()[i], b.values()[i]));

    return result;
}
} // namespace

Series ratios (const Series& a, const Series& b)
{
    return combined (a, b, std::divides<>());
}

Series sums (const Series& a, const Series& b)
{
    return combined (a, b, std::plus<>());
}

Figures::Figure& Figures::at (const Case& subject, const std::string& name, const std::string& unit)
{
    for (auto& figure : figures)
        if (figure.name == name && figure.subject == subject)
            return figure;

    return figures.emplace_back (Figure{ subject, name, unit, {} });
}

void Figures::add (const Case& subject, const std::string& name, const std::string& unit, double value)
{
    at (subject, name, unit).values.add (value);
}

void Figures::add (const Case& subject,
                   const std::string& name,
                   const std::string& unit,
                   const Series& values)
{
    for (const auto value : values.values())
        add (subject, name, unit, value);
}

const Series& Figures::of (const Case& subject, const std::string& name) const
{
    static const Series none;

    for (const auto& figure : figures)
        if (figure.name == name && figure.subject == subject)
            return figure.values;

    return none;
}

void Figures::merge (const Figures& other)
{
    for (const auto& figure : other.figures)
        add (figure.subject, figure.name, figure.unit, figure.values);
}

void Figures::appendTo (nlohmann::ordered_json& list, const std::string& benchmark) const
{
    for (const auto& figure : figures)
        list.push_back ({ { "benchmark", benchmark },
                          { "case", figure.subject },
                          { "name", figure.name },
                          { "unit", figure.unit },
                          { "values", figure.values.values() },
                          { "median", figure.values.median() } });
}

} // namespace tessivar::benchmarks
