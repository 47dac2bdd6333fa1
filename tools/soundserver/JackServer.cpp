#include "tools/soundserver/JackServer.h"

#include <jack/jack.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>

namespace tessivar::test
{

namespace
{
bool answers()
{
    jack_status_t status{};

    if (auto* client = ::jack_client_open ("probe", JackNoStartServer, &status))
    {
        ::jack_client_close (client);
        return true;
    }

    return false;
}
} // namespace

JackServer::JackServer (int sampleRate, int blockSize, Clients clients)
{
    const auto name = "tessivar-test-" + std::to_string (::getpid());
    ::setenv ("JACK_DEFAULT_SERVER", name.c_str(), 1);
    ::setenv ("JACK_NO_AUDIO_RESERVATION", "1", 1);
    const auto* mode =
        clients == Clients::awaited ? "--sync" : "--port-max=256"; // the latter is what it is anyway
    const auto rate = std::to_string (sampleRate), size = std::to_string (blockSize);
    process = ::fork();

    if (process == 0)
    {
        ::prctl (PR_SET_PDEATHSIG, SIGTERM); // it must not outlive this program, however that ends
        const auto nowhere = ::open ("/dev/null", O_RDWR);
        ::dup2 (nowhere, 1);
        ::dup2 (nowhere, 2);
        ::execlp ("jackd",
                  "jackd",
                  "--no-realtime",
                  mode,
                  "-n",
                  name.c_str(),
                  "-d",
                  "dummy",
                  "-r",
                  rate.c_str(),
                  "-p",
                  size.c_str(),
                  "-C",
                  "0",
                  "-P",
                  "2",
                  nullptr);
        ::_exit (127);
    }

    for (int attempt = 0; attempt < 100; ++attempt)
    {
        std::this_thread::sleep_for (std::chrono::milliseconds (50));

        if (answers())
            return;
    }

    stop (SIGKILL);
    throw std::runtime_error ("jackd does not come up; package jackd2");
}

void JackServer::stop (int signal)
{
    if (process <= 0)
        return;

    ::kill (process, signal);
    int status = 0;
    ::waitpid (process, &status, 0);
    process = -1;
}

JackCapture::JackCapture (const char* port, std::size_t maxSamples) : samples (maxSamples)
{
    jack_status_t status{};
    client = ::jack_client_open ("capture", JackNoStartServer, &status);

    if (client == nullptr)
        throw std::runtime_error ("no client for the capture");

    blockSize = ::jack_get_buffer_size (client);
    cycles.resize (maxSamples / blockSize + 1);
    input = ::jack_port_register (client, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
    ::jack_set_process_callback (client, process, this);
    ::jack_set_xrun_callback (
        client,
        [] (void* self)
        {
            ++static_cast<JackCapture*> (self)->overruns;
            return 0;
        },
        this);

    if (::jack_activate (client) != 0 || ::jack_connect (client, port, ::jack_port_name (input)) != 0)
        throw std::runtime_error (std::string ("can't capture ") + port);
}

JackCapture::~JackCapture()
{
    ::jack_client_close (client);
}

int JackCapture::process (unsigned numFrames, void* self)
{
    auto& capture = *static_cast<JackCapture*> (self);
    const auto* in = static_cast<const float*> (::jack_port_get_buffer (capture.input, numFrames));
    const auto at = capture.size.load (std::memory_order_relaxed);
    const auto count = std::min<std::size_t> (numFrames, capture.samples.size() - at);
    std::copy_n (in, count, capture.samples.begin() + static_cast<std::ptrdiff_t> (at));
    capture.cycles[at / capture.blockSize] = ::jack_last_frame_time (capture.client);
    capture.size.store (at + count, std::memory_order_release);
    return 0;
}

bool JackCapture::hasMissedBefore (std::size_t sample) const
{
    const auto block = sample / blockSize;
    return block > 0 && cycles[block] - cycles[block - 1] > blockSize;
}

std::vector<float> JackCapture::recorded() const
{
    return { samples.begin(),
             samples.begin() + static_cast<std::ptrdiff_t> (size.load (std::memory_order_acquire)) };
}

} // namespace tessivar::test
