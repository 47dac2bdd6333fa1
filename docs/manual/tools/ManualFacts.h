#pragma once

#include <nlohmann/json.hpp>

namespace tessivar
{

/** Commands by the names of their ids, with text, keys and place in the menus; the menus; the window's own
    keys. Keys are texts as the manual prints them ("Ctrl+Shift+S"). Throws std::logic_error when a command
    has no name here, or when one key means both a command and something of the window's.
*/
[[nodiscard]] nlohmann::ordered_json commandFacts();

/** Drum types, start values, limits, defaults, folders and fixed messages. */
[[nodiscard]] nlohmann::ordered_json valueFacts();

/** Commands, options and exit codes of the command line. */
[[nodiscard]] nlohmann::ordered_json commandLineFacts();

} // namespace tessivar
