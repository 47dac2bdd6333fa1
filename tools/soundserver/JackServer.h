#pragma once

#include <juce_core/juce_core.h>

#include <atomic>
#include <cstddef>
#include <vector>

typedef struct _jack_client jack_client_t;
typedef struct _jack_port jack_port_t;

namespace tessivar::test
{

/** A sound server without a sound card: jackd's dummy driver, in real time. Its name goes into the
    environment, where clients of this process find it.
*/
class JackServer
{
public:
    enum class Clients
    {
        awaited,   // a busy machine costs time and not samples
        notAwaited // who is late has missed the block, as with most sound cards
    };

    /** Throws std::runtime_error when it does not come up. */
    JackServer (int sampleRate, int blockSize, Clients clients = Clients::awaited);
    ~JackServer() { stop (15); }

    /** Ends the server by a signal and waits until it is gone. */
    void stop (int signal);

    JackServer (const JackServer&) = delete;
    JackServer& operator= (const JackServer&) = delete;

private:
    int process = -1;
};

/** Records what comes out of one port of another client. */
class JackCapture
{
public:
    /** port as "Tessivar:out_1". Throws std::runtime_error when it can't be connected. */
    JackCapture (const char* port, std::size_t maxSamples);
    ~JackCapture();

    /** What was recorded so far. */
    [[nodiscard]] std::vector<float> recorded() const;

    /** The server's, of all its clients together. */
    [[nodiscard]] int numOverruns() const { return overruns.load(); }

    /** Whether the server ran cycles without this client right before the block with a recorded sample. */
    [[nodiscard]] bool hasMissedBefore (std::size_t sample) const;

    JackCapture (const JackCapture&) = delete;
    JackCapture& operator= (const JackCapture&) = delete;

private:
    static int process (unsigned numFrames, void* self);

    jack_client_t* client = nullptr;
    jack_port_t* input = nullptr;
    std::vector<float> samples;
    std::atomic<std::size_t> size{ 0 };
    std::vector<unsigned> cycles; // of each block, by the server's clock
    std::size_t blockSize = 1;
    std::atomic<int> overruns{ 0 };
};

} // namespace tessivar::test
