#pragma once

#include "engine/AnalysisData.h"
#include "engine/SelfTest.h"
#include "engine/numerics/simd/SimdTarget.h"
#include "platform/DiskNames.h"

#include <juce_core/juce_core.h>

namespace tessivar
{

/** The engine's self-test, for rooms that don't see the engine. Takes about a second; not during an analysis.
*/
[[nodiscard]] inline std::vector<SelfTestLine> runSelfTest (const juce::File& resourceFolder)
{
    return runSelfTest (bytesOfPath (resourceFolder));
}

/** The instruction set whose kernels are in use. */
[[nodiscard]] inline juce::String kernelsInUse()
{
    return juce::String (simdTargetName());
}

/** Fails when a data file of the analysis, of any rate, is missing or has the wrong size; the reason names
    the first one. The analysis itself reads what is missing as zeros, and says so.
*/
[[nodiscard]] inline juce::Result checkDataFiles (const juce::File& resourceFolder)
{
    for (const auto& entry : allDataFiles())
    {
        const auto file = resourceFolder.getChildFile (juce::String (entry.name));
        const auto expected = static_cast<juce::int64> (entry.numFloats * sizeof (float));
        if (! file.existsAsFile())
            return juce::Result::fail (file.getFullPathName() + ": this analysis data file is missing");
        if (file.getSize() != expected)
            return juce::Result::fail (file.getFullPathName() + ": this analysis data file has "
                                       + juce::String (file.getSize()) + " bytes instead of "
                                       + juce::String (expected));
    }
    return juce::Result::ok();
}

} // namespace tessivar
