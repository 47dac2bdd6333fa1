#include "platform/Process.h"

namespace tessivar
{

namespace
{
constexpr int numRandomDigits = 8;
}

juce::String uniqueTag()
{
    const auto random = juce::String::toHexString (juce::Random::getSystemRandom().nextInt());
    return juce::String (processId()) + "-" + random.paddedLeft ('0', numRandomDigits);
}

bool isUniqueTag (const juce::String& text)
{
    const auto process = text.upToFirstOccurrenceOf ("-", false, false);
    const auto random = text.fromFirstOccurrenceOf ("-", false, false);
    return process.isNotEmpty() && process.length() <= 9 && process.containsOnly ("0123456789")
           && random.length() == numRandomDigits && random.containsOnly ("0123456789abcdef");
}

} // namespace tessivar
