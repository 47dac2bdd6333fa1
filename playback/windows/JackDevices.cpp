#include "playback/JackDevices.h"

namespace tessivar
{

// The toolkit has no devices of this type here, so nobody asks for what they need.

std::unique_ptr<juce::AudioIODeviceType> createJackDevices()
{
    return nullptr;
}

std::unique_ptr<JackClock> JackClock::open()
{
    return nullptr;
}

JackClock::~JackClock() = default;

} // namespace tessivar
