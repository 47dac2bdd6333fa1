#pragma once

#include <optional>
#include <string_view>

namespace tessivar
{

/** Which analysis a Group asks for, or was made with. */
enum class AnalysisMethod
{
    standard,
    refined // seeded start, layers from an interference model over all microphones; about twice as long
};

/** What users get who choose nothing. */
inline constexpr auto usualMethod = AnalysisMethod::refined;

constexpr AnalysisMethod otherMethod (AnalysisMethod method)
{
    return method == AnalysisMethod::refined ? AnalysisMethod::standard : AnalysisMethod::refined;
}

/** The word for files and the command line. */
constexpr const char* analysisMethodKey (AnalysisMethod method)
{
    return method == AnalysisMethod::refined ? "refined" : "standard";
}

/** Nothing for an unknown word. */
constexpr std::optional<AnalysisMethod> parseAnalysisMethod (std::string_view key)
{
    for (const auto method : { AnalysisMethod::standard, AnalysisMethod::refined })
        if (key == analysisMethodKey (method))
            return method;

    return std::nullopt;
}

} // namespace tessivar
