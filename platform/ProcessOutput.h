#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>

namespace tessivar
{

/** Reads what a program prints on a thread of its own, as whoever writes to a full pipe waits; nothing when
    keepWaiting() returned false before the end, which end() then brings about. For outputOfProgram() alone.
    @param read  fills a buffer and returns the number of bytes; 0: there come no more
*/
[[nodiscard]] std::optional<std::string> readToEnd (const std::function<std::size_t (std::span<char>)>& read,
                                                    const std::function<void()>& end,
                                                    const std::function<bool()>& keepWaiting);

/** From the end of a program's output to its own, in ms. */
constexpr int longestExit = 2000;

} // namespace tessivar
