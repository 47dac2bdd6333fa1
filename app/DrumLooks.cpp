#include "app/DrumLooks.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::array pairs{
    std::pair{ DrumType::kick, DrumLook::kick },     std::pair{ DrumType::snare, DrumLook::snare },
    std::pair{ DrumType::hiHat, DrumLook::hiHat },   std::pair{ DrumType::tomHigh, DrumLook::tomHigh },
    std::pair{ DrumType::tomLow, DrumLook::tomLow }, std::pair{ DrumType::tomFloor, DrumLook::tomFloor },
    std::pair{ DrumType::oh, DrumLook::overhead },   std::pair{ DrumType::other, DrumLook::other }
};
}

DrumLook drumLookOf (DrumType type)
{
    return std::find_if (pairs.begin(), pairs.end(), [&] (const auto& pair) { return pair.first == type; })
        ->second;
}

DrumType drumTypeOf (DrumLook look)
{
    return std::find_if (pairs.begin(), pairs.end(), [&] (const auto& pair) { return pair.second == look; })
        ->first;
}

} // namespace tessivar
