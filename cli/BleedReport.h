#pragma once

#include "model/GroupState.h"
#include "terms/KnobValues.h"

#include <nlohmann/json_fwd.hpp>

#include <cstddef>
#include <string>

namespace tessivar
{

/** What of the other drums arrives in a track, before and with these knobs, drum by drum; null without a
    bleed map. docs/cli-json.md lists the keys. */
[[nodiscard]] nlohmann::ordered_json
bleedToJson (const GroupState& group, std::size_t track, KnobValues knobs);

/** The map as a table, microphones by drums, before and with the knobs as they stand; empty without one. */
[[nodiscard]] std::string formatBleed (const GroupState& group);

} // namespace tessivar
