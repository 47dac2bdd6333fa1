#include "tests/support/GoldenCase.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <numeric>
#include <set>
#include <stdexcept>

namespace tessivar::test
{

namespace
{
const std::string folder = std::string (TESSIVAR_TEST_DATA) + "/golden/";

template <typename T>
std::vector<double> readArray (const std::string& path)
{
    std::ifstream file (path, std::ios::binary);
    const std::vector<char> bytes{ std::istreambuf_iterator<char> (file), {} };
    std::vector<T> values (bytes.size() / sizeof (T));
    std::memcpy (values.data(), bytes.data(), values.size() * sizeof (T));
    return toDoubles (values);
}

GoldenArray readEntry (const nlohmann::json& entry)
{
    GoldenArray array;
    const auto path = folder + entry.at ("file").get<std::string>();
    array.values = entry.at ("dtype") == "f32" ? readArray<float> (path) : readArray<double> (path);
    array.shape = entry.at ("shape").get<std::vector<std::size_t>>();
    array.isColumnMajor = entry.at ("order") == "F";
    array.check = entry.value ("check", nlohmann::json());

    if (array.values.size()
        != std::accumulate (array.shape.begin(), array.shape.end(), std::size_t{ 1 }, std::multiplies<>()))
        throw std::runtime_error (path + " has not the size that the manifest says");

    return array;
}

double largest (const std::vector<double>& values)
{
    double result = 0.0;

    for (const auto x : values)
        result = std::max (result, std::abs (x));

    return result;
}

std::string over (const std::string& what, double error, double tolerance)
{
    return error <= tolerance
               ? ""
               : what + " " + std::to_string (error) + " > " + std::to_string (tolerance) + "; ";
}

std::vector<std::size_t> indicesOf (const nlohmann::json& check, std::size_t count)
{
    if (check.contains ("only"))
        return check.at ("only").get<std::vector<std::size_t>>();

    std::vector<std::size_t> all (count);
    std::iota (all.begin(), all.end(), std::size_t{ 0 });
    return all;
}

/** Relative error at the 99th percentile and at most, above the floor; absolute error below it. */
std::string relative (const std::vector<double>& a, const std::vector<double>& b, const nlohmann::json& check)
{
    const double floor = check.at ("floor"), top = largest (b);
    std::vector<double> errors;
    double below = 0.0;

    for (std::size_t i = 0; i < b.size(); ++i)
    {
        const auto counts = floor == 0.0 ? std::abs (b[i]) > 0.0 : std::abs (b[i]) > floor * top;

        if (counts)
            errors.push_back (std::abs (a[i] - b[i]) / std::abs (b[i]));
        else
            below = std::max (below, std::abs (a[i] - b[i]));
    }

    std::string wrong = over ("below the floor", below, floor * top + 1.0e-20);

    if (! errors.empty())
    {
        std::sort (errors.begin(), errors.end());
        wrong += over ("99th percentile", errors[(errors.size() - 1) * 99 / 100], check.at ("p99"));
        wrong += over ("largest", errors.back(), check.at ("max"));
    }

    return wrong;
}

std::vector<double> product (const std::vector<double>& w, const std::vector<double>& h, std::size_t rows)
{
    const auto components = w.size() / rows, columns = h.size() / components;
    std::vector<double> result (rows * columns);

    for (std::size_t t = 0; t < columns; ++t)
        for (std::size_t k = 0; k < components; ++k)
            for (std::size_t m = 0; m < rows; ++m)
                result[m + rows * t] += w[m + rows * k] * h[k + components * t];

    return result;
}

bool isPermutation (const std::vector<double>& values)
{
    auto sorted = values;
    std::sort (sorted.begin(), sorted.end());

    for (std::size_t i = 0; i < sorted.size(); ++i)
        if (sorted[i] != static_cast<double> (i))
            return false;

    return true;
}

std::string compareArray (const std::string& key, const GoldenCase& golden, const Results& results)
{
    const auto& expected = golden.outputs.at (key);
    const auto& b = expected.values;
    const auto& check = expected.check;
    const auto found = results.find (key);

    if (found == results.end())
        return "was not computed";

    const auto& a = found->second;

    if (a.size() != b.size())
        return std::to_string (a.size()) + " values, " + std::to_string (b.size()) + " expected";

    if (! std::all_of (a.begin(), a.end(), [] (double x) { return std::isfinite (x); }))
        return "holds NaN or infinity";

    const std::string type = check.at ("type");
    double error = 0.0;

    if (type == "abs" || type == "absmax")
    {
        for (const auto i : indicesOf (check, b.size()))
            error = std::max (error, std::abs (a[i] - b[i]));

        return over (
            "error", type == "abs" ? error : error / std::max (largest (b), 1.0e-30), check.at ("tol"));
    }

    if (type == "rel")
        return relative (a, b, check);

    if (type == "exact")
        return a == b ? "" : "differs";

    if (type == "colsum")
    {
        const auto rows = expected.shape[0];

        for (std::size_t k = 0; k < expected.shape[1]; ++k)
        {
            const auto sum = [&] (const std::vector<double>& x)
            {
                const auto column = x.begin() + static_cast<std::ptrdiff_t> (rows * k);
                return std::accumulate (column, column + static_cast<std::ptrdiff_t> (rows), 0.0);
            };

            error = std::max (error, std::abs (sum (a) - (sum (b) > 0.5 ? 1.0 : sum (b))));
        }

        return over ("column sum", error, check.at ("tol"));
    }

    if (type == "wh")
    {
        const std::string w = check.at ("w");
        const auto rows = golden.outputs.at (w).shape[0];
        return relative (
            product (results.at (w), a, rows), product (golden.outputs.at (w).values, b, rows), check);
    }

    if (type == "order")
    {
        const auto& scores = golden.outputs.at (check.at ("scores")).values;
        const auto only = indicesOf (check, scores.size());
        std::vector<double> inOrder;

        if (! isPermutation (a))
            return "is not a permutation";

        for (const auto index : a)
            if (std::find (only.begin(), only.end(), static_cast<std::size_t> (index)) != only.end())
                inOrder.push_back (scores[static_cast<std::size_t> (index)]);

        for (std::size_t i = 1; i < inOrder.size(); ++i)
            error = std::max (error, inOrder[i] - inOrder[i - 1]);

        return over ("out of order by", error, check.at ("tol"));
    }

    if (type == "loudest")
    {
        const auto& energies = golden.outputs.at (check.at ("energies")).values;

        if (std::set<double> (a.begin(), a.end()).size() != a.size())
            return "names a frame twice";

        for (std::size_t i = 0; i < a.size(); ++i)
        {
            const auto mine = energies.at (static_cast<std::size_t> (a[i]));
            const auto theirs = energies.at (static_cast<std::size_t> (b[i]));
            error =
                std::max (error, std::abs (mine - theirs) / std::max (theirs, 1.0e-9 * largest (energies)));
        }

        return over ("energy", error, check.at ("tol"));
    }

    if (type == "first")
    {
        const std::size_t count = check.at ("count");
        return isPermutation (a)
                       && std::equal (a.begin(), a.begin() + static_cast<std::ptrdiff_t> (count), b.begin())
                   ? ""
                   : "leading slots differ";
    }

    return "unknown check " + type;
}
} // namespace

std::vector<float> GoldenCase::input (const std::string& key) const
{
    const auto& values = inputs.at (key).values;
    std::vector<float> result (values.size());
    std::transform (
        values.begin(), values.end(), result.begin(), [] (double x) { return static_cast<float> (x); });
    return result;
}

std::vector<GoldenCase> goldenCases (const std::string& kind)
{
    std::ifstream file (folder + "manifest.json");
    const auto manifest = nlohmann::json::parse (file);
    std::vector<GoldenCase> cases;

    for (const auto& entry : manifest.at ("cases"))
    {
        if (entry.at ("kind") != kind)
            continue;

        GoldenCase golden{ entry.at ("name"), entry.at ("kind"), entry.at ("params"), {}, {} };

        for (const auto& input : entry.at ("inputs"))
            golden.inputs[input.at ("key")] = readEntry (input);

        for (const auto& output : entry.at ("outputs"))
            golden.outputs[output.at ("key")] = readEntry (output);

        cases.push_back (std::move (golden));
    }

    return cases;
}

std::string
compareWithGolden (const GoldenCase& golden, const Results& results, const std::vector<std::string>& without)
{
    std::string wrong;

    for (const auto& [key, expected] : golden.outputs)
    {
        if (std::find (without.begin(), without.end(), key) != without.end())
            continue;

        const auto difference = compareArray (key, golden, results);

        if (! difference.empty())
            wrong += golden.name + " " + key + ": " + difference + "\n";
    }

    return wrong;
}

} // namespace tessivar::test
