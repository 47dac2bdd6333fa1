#pragma once

#include "engine/SampleStorage.h"

#include <cstdint>
#include <span>

namespace tessivar::refinement
{

/** Scratch planes of 16-bit codes, two in the room of a float. Starts and lengths are even. Like the planes
    that it works on, it may be used by several threads at once for different ranges. */
class PackedPlanes
{
public:
    PackedPlanes() = default;
    explicit PackedPlanes (ScratchPlanes* p) : planes (p) {}

    [[nodiscard]] bool isOpen() const { return planes != nullptr; }

    [[nodiscard]] bool write (int plane, std::int64_t start, std::span<const std::uint16_t> codes)
    {
        return planes->write (
            plane, start / 2, { reinterpret_cast<const float*> (codes.data()), codes.size() / 2 });
    }

    [[nodiscard]] bool read (int plane, std::int64_t start, std::span<std::uint16_t> codes)
    {
        return planes->read (plane, start / 2, { reinterpret_cast<float*> (codes.data()), codes.size() / 2 });
    }

private:
    ScratchPlanes* planes = nullptr;
};

} // namespace tessivar::refinement
