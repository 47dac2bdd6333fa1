#pragma once

#include "engine/AnalysisPipeline.h"

namespace tessivar
{

/** How far the two independent estimates behind a suggested Focus agree, in words, from their match in dB. */
[[nodiscard]] inline const char* certaintyOf (double matchDb)
{
    return matchDb >= sureMatchDb ? "sure" : matchDb >= fairlySureMatchDb ? "fairly sure" : "unsure";
}

} // namespace tessivar
