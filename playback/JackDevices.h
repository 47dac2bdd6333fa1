#pragma once

#include <juce_audio_devices/juce_audio_devices.h>

#include <atomic>
#include <cstdint>
#include <memory>

struct _jack_client;

namespace tessivar
{

/** Whether one of the local sockets that somebody listens at is that of a JACK server. */
[[nodiscard]] bool listsJackServer (const juce::StringArray& sockets);

/** The toolkit's devices of type "JACK", which don't touch libjack while no server is running.

    Every client of libjack opens a database in shared memory before it even looks for a server. A client
    killed at that moment leaves the database locked, and everyone who opens it from then on waits for ever: a
    program that only wants to list the devices would never show its window. With a server running, the first
    look gets two seconds; without an answer there are no JACK devices in this run.
*/
[[nodiscard]] std::unique_ptr<juce::AudioIODeviceType> createJackDevices();

/** How many frames a JACK server has let pass. The toolkit's device does not tell which cycles it was not
    there for, and the server's own count of such misses is that of all its clients together.

    It is a client of its own, without ports, that takes part in no cycle.
*/
class JackClock
{
public:
    /** Nothing when there is no server, or none that answers. Message thread. */
    [[nodiscard]] static std::unique_ptr<JackClock> open();
    ~JackClock();

    /** Frames at the start of the server's current cycle; wraps around. Takes no lock: for a device's thread.
    */
    [[nodiscard]] std::uint32_t cycleStart() const { return lastFrameTime (client); }

    /** False once the server has gone. */
    [[nodiscard]] bool isAlive() const { return ! isGone.load (std::memory_order_relaxed); }

    JackClock (const JackClock&) = delete;
    JackClock& operator= (const JackClock&) = delete;

private:
    JackClock() = default;

    _jack_client* client = nullptr;
    std::uint32_t (*lastFrameTime) (const _jack_client*) = nullptr;
    std::atomic<bool> isGone{ false };
};

} // namespace tessivar
