#pragma once

#include "model/groupfile/GroupFileLoading.h"

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace tessivar
{

/** The content of a group file for people: Group, analysis, and tracks with their knobs. */
[[nodiscard]] std::string formatGroupInfo (const juce::File& file, const LoadedGroup& group);

/** The same for machines; docs/cli.schema.json describes the keys. */
[[nodiscard]] nlohmann::ordered_json groupInfoToJson (const juce::File& file, const LoadedGroup& group);

} // namespace tessivar
