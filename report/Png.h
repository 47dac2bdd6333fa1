#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessivar
{

using PngColour = std::array<std::uint8_t, 3>; // red, green, blue

/** A picture as PNG: pixels, row by row from the top, are indices of at most 256 colours. Throws
    std::bad_alloc when memory runs out. */
[[nodiscard]] std::vector<std::byte> encodePng (std::size_t width,
                                                std::size_t height,
                                                std::span<const std::uint8_t> pixels,
                                                std::span<const PngColour> colours);

} // namespace tessivar
