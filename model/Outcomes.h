#pragma once

#include "terms/Outcome.h"

#include <juce_core/juce_core.h>

namespace tessivar
{

/** How work ended whose result can't be a stop. */
[[nodiscard]] inline Outcome outcomeOf (const juce::Result& result)
{
    return result.wasOk() ? Outcome::ok() : Outcome::failed (result.getErrorMessage().toStdString());
}

} // namespace tessivar
