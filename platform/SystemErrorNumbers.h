#pragma once

#include "platform/SystemError.h"

#include <span>

namespace tessivar
{

struct SystemErrorNumber
{
    SystemError::Kind kind;
    int number;
};

/** Those of this system whose kind is known, the usual one of a kind first. For SystemError alone. */
[[nodiscard]] std::span<const SystemErrorNumber> systemErrorNumbers();

} // namespace tessivar
