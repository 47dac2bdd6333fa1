#pragma once

#include <juce_audio_devices/juce_audio_devices.h>

#include <memory>

namespace tessivar
{

/** Whether the kernel's table of UNIX sockets (the text of /proc/net/unix) lists a JACK server. */
[[nodiscard]] bool listsJackServer (const juce::String& sockets);

/** The toolkit's devices of type "JACK", which don't touch libjack while no server is running.

    Every client of libjack opens a database in shared memory before it even looks for a server. A client
    killed at that moment leaves the database locked, and everyone who opens it from then on waits for ever: a
    program that only wants to list the devices would never show its window. With a server running, the first
    look gets two seconds; without an answer there are no JACK devices in this run.
*/
[[nodiscard]] std::unique_ptr<juce::AudioIODeviceType> createJackDevices();

} // namespace tessivar
