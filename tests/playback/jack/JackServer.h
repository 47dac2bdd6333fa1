#pragma once

#include <juce_core/juce_core.h>

#include <atomic>
#include <cstddef>
#include <vector>

typedef struct _jack_client jack_client_t;
typedef struct _jack_port jack_port_t;

namespace tessivar::test
{

/** A sound server of the test's own, without a sound card: jackd's dummy driver, in real time; it waits for
    its clients, so that a busy machine costs time and not samples. Its name goes into the environment, so
    that clients of this process find it.
*/
class JackServer
{
public:
    /** Throws std::runtime_error when it does not come up. */
    JackServer (int sampleRate, int blockSize);
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

    [[nodiscard]] int numOverruns() const { return overruns.load(); }

    JackCapture (const JackCapture&) = delete;
    JackCapture& operator= (const JackCapture&) = delete;

private:
    static int process (unsigned numFrames, void* self);

    jack_client_t* client = nullptr;
    jack_port_t* input = nullptr;
    std::vector<float> samples;
    std::atomic<std::size_t> size{ 0 };
    std::atomic<int> overruns{ 0 };
};

} // namespace tessivar::test
