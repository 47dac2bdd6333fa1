#pragma once

#include <juce_audio_devices/juce_audio_devices.h>

#include <memory>

namespace tessivar
{

/** Whether a JACK server listens, by the kernel's table of UNIX sockets (the text of /proc/net/unix). */
[[nodiscard]] bool listsJackServer (const juce::String& sockets);

/** The toolkit's devices of type "JACK", which leave libjack alone while no server is at work.

    Every client of libjack opens a database in shared memory before it even looks for a server. A client that
    was killed at that moment leaves the database locked, and from then on whoever opens it waits for ever: a
    program that only wants to know which devices there are would never show its window. With a server at
    work, the first look is given two seconds; without an answer there are no JACK devices in this run.
*/
[[nodiscard]] std::unique_ptr<juce::AudioIODeviceType> createJackDevices();

} // namespace tessivar
