#pragma once

#include <juce_core/juce_core.h>

#include <cstdint>
#include <optional>

namespace tessivar
{

/** Bytes of memory that this process can still take without swapping or being refused: the least of what the system
    has available, what is left of the process's own address space limit, and what is left of the memory limits of its
    control group and the groups above. Nothing when the system tells none of these.
*/
[[nodiscard]] std::optional<std::uint64_t> freeMemory();

/** A number of bytes for a message: exact, and above 10 MB in MB or GB as well: "1288490189 bytes (1.29 GB)". */
[[nodiscard]] juce::String describeBytes (std::uint64_t bytes);

/** Makes a write beyond the limit on the size of files (ulimit -f) fail like any other, with EFBIG, in place of ending
    the process. Programs that are started from here keep the system's way. Once, at the start.
*/
void makeTooLargeWritesFail();

} // namespace tessivar
