#pragma once

#include <nlohmann/json.hpp>

#include <map>
#include <string>
#include <vector>

namespace tessivar::test
{

/** One array of a golden case, as doubles. */
struct GoldenArray
{
    std::vector<double> values;
    std::vector<std::size_t> shape;
    bool isColumnMajor = false;
    nlohmann::json check; // of an output
};

/** One case of tests/golden: its parameters, inputs and expected outputs by key. */
struct GoldenCase
{
    std::string name, kind;
    nlohmann::json params;
    std::map<std::string, GoldenArray> inputs, outputs;

    [[nodiscard]] std::vector<float> input (const std::string& key) const;
};

/** All cases of one kind. */
[[nodiscard]] std::vector<GoldenCase> goldenCases (const std::string& kind);

using Results = std::map<std::string, std::vector<double>>;

/** Compares results with the case's outputs under their tolerances, except outputs named in without. Returns
    what is wrong; empty when nothing is.
*/
[[nodiscard]] std::string compareWithGolden (const GoldenCase& golden,
                                             const Results& results,
                                             const std::vector<std::string>& without = {});

template <typename Range>
std::vector<double> toDoubles (const Range& range)
{
    return { range.begin(), range.end() };
}

} // namespace tessivar::test
