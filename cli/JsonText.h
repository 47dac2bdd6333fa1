#pragma once

#include "model/ImportWarnings.h"

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace tessivar
{

/** Text as JSON takes it: names stay as they are on disk, what is no UTF-8 becomes the replacement character. */
[[nodiscard]] std::string jsonText (const juce::String& text);

[[nodiscard]] nlohmann::ordered_json jsonTexts (const juce::StringArray& texts);

/** The word for an exit code in JSON: done, partial, usage, refused, outputFailed, analysisFailed or interrupted. */
[[nodiscard]] juce::String statusWord (int exitCode);

/** The keys that every document begins with: program, version, revision, command, exitCode and status. */
[[nodiscard]] nlohmann::ordered_json jsonHeading (std::string_view command, int exitCode);

/** Warnings as an array of code, message and entries. */
[[nodiscard]] nlohmann::ordered_json warningsToJson (const std::vector<ImportWarnings::Warning>& warnings);

} // namespace tessivar
