#pragma once

#include <juce_core/juce_core.h>

#include <cstddef>
#include <map>

namespace tessivar
{

/** The settings as they lie in the file: every key once, upper and lower case told apart. */
using SettingsValues = std::map<juce::String, juce::String>;

/** The longest settings file that is read, in bytes, and the most keys: far above what is ever written, and
    low enough that rubbish can't take up time or memory.
*/
inline constexpr std::size_t maxSettingsFileSize = 1 << 20, maxSettingsKeys = 4096;

/** Reads the XML of a juce::PropertiesFile: a PROPERTIES element of VALUE elements with the attributes name
    and val. A VALUE that holds another element instead of a val has that element's text as its value.

    On failure the result says why, and out stays as it was. A file without a byte is one without values.
*/
[[nodiscard]] juce::Result parseSettings (const void* data, std::size_t numBytes, SettingsValues& out);

/** The text that parseSettings and juce::PropertiesFile read. */
[[nodiscard]] juce::String encodeSettings (const SettingsValues& values);

/** What is to be in the file when this process, which last saw the values of base in it, now has those of
    mine, and the file by now holds onDisk: what this process changed or removed since base, and all the rest
    from the file.
*/
[[nodiscard]] SettingsValues
mergeSettings (const SettingsValues& base, const SettingsValues& mine, const SettingsValues& onDisk);

} // namespace tessivar
