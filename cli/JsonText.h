#pragma once

#include "cli/TypeOrigin.h"
#include "model/ImportWarnings.h"
#include "terms/DrumType.h"

#include <nlohmann/json.hpp>

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tessivar
{

/** Text for JSON. Bytes of file names that are not UTF-8 are read as Windows-1252. */
[[nodiscard]] std::string jsonText (const juce::String& text);

[[nodiscard]] nlohmann::ordered_json jsonTexts (const juce::StringArray& texts);

/** Null when empty. */
[[nodiscard]] nlohmann::ordered_json textOrNull (const juce::String& text);

/** The full path; null for no file. */
[[nodiscard]] nlohmann::ordered_json pathOrNull (const juce::File& file);

/** The value of an optional, or null. */
[[nodiscard]] nlohmann::ordered_json valueOrNull (const auto& value)
{
    return value ? nlohmann::ordered_json (*value) : nlohmann::ordered_json();
}

/** The drum type's word, or null. */
[[nodiscard]] nlohmann::ordered_json typeOrNull (std::optional<DrumType> type);

/** The word for one of the program's exit codes. */
[[nodiscard]] const char* statusWord (int exitCode);

/** The keys that every document begins with: program, version, revision, command, exitCode and status. */
[[nodiscard]] nlohmann::ordered_json jsonHeading (std::string_view command, int exitCode);

/** Prints a document, whatever bytes its texts hold. */
void printJson (std::ostream& out, const nlohmann::ordered_json& document);

/** Adds the keys that tell where a track's type comes from: typeOrigin, abbreviation, list and listOrigin. */
void addTypeOrigin (nlohmann::ordered_json& json, TypeOrigin origin, const TrackClassification& guess);

/** Keys and values as an object. */
[[nodiscard]] nlohmann::ordered_json metadataToJson (const juce::StringPairArray& metadata);

/** Warnings as an array of code, message and entries. */
[[nodiscard]] nlohmann::ordered_json warningsToJson (const std::vector<ImportWarnings::Warning>& warnings);

} // namespace tessivar
