#pragma once

#include "model/DrumType.h"
#include "ui/DrumLook.h"

namespace tessivar
{

[[nodiscard]] DrumLook drumLookOf (DrumType type);
[[nodiscard]] DrumType drumTypeOf (DrumLook look);

} // namespace tessivar
