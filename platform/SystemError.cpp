#include "platform/SystemError.h"

#include "platform/SystemErrorNumbers.h"

#include <algorithm>

namespace tessivar
{

SystemError::SystemError (Kind kind)
    : number (std::ranges::find (systemErrorNumbers(), kind, &SystemErrorNumber::kind)->number)
{
}

SystemError::Kind SystemError::kind() const
{
    const auto numbers = systemErrorNumbers();
    const auto found = std::ranges::find (numbers, number, &SystemErrorNumber::number);
    return found == numbers.end() ? Kind::failed : found->kind;
}

} // namespace tessivar
