#include "playback/JackDevices.h"

#include "platform/Process.h"

#include <jack/jack.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <thread>

namespace tessivar
{

bool listsJackServer (const juce::StringArray& sockets)
{
    return std::any_of (sockets.begin(),
                        sockets.end(),
                        [] (const juce::String& name)
                        { return name.fromLastOccurrenceOf ("/", false, false).startsWith ("jack_"); });
}

namespace
{
/** libjack, or whatever stands in for it. */
class JackLibrary
{
public:
    [[nodiscard]] bool mayBeAsked() const
    {
        return open != nullptr && close != nullptr && ! isStuck
               && (isPipeWire() || listsJackServer (listeningSockets()));
    }

    /** Becomes a client and leaves again; false when that takes too long. */
    [[nodiscard]] bool answersInTime()
    {
        if (hasAnswered)
            return true;

        std::promise<void> answer;
        auto future = answer.get_future();

        // A thread that waits for the database can't be called back.
        std::thread (
            [openClient = open, closeClient = close, toldAnswer = std::move (answer)]() mutable
            {
                jack_status_t status{};

                if (auto* client = openClient (JUCE_JACK_CLIENT_NAME "-look", JackNoStartServer, &status))
                    closeClient (client);

                toldAnswer.set_value();
            })
            .detach();

        hasAnswered = future.wait_for (longestAnswer) == std::future_status::ready;
        isStuck = ! hasAnswered;
        return hasAnswered;
    }

private:
    template <typename Function>
    [[nodiscard]] Function* find (const char* name)
    {
        return reinterpret_cast<Function*> (library.getFunction (name));
    }

    static constexpr std::chrono::seconds longestAnswer{ 2 };

    /** PipeWire's libjack keeps no such database, and its server has no socket of JACK's. */
    [[nodiscard]] bool isPipeWire() const
    {
        return libraryHolding (reinterpret_cast<const void*> (open)).containsIgnoreCase ("pipewire");
    }

    juce::DynamicLibrary library{ "libjack.so.0" };
    bool hasAnswered = false, isStuck = false;

public:
    decltype (::jack_client_open)* const open = find<decltype (::jack_client_open)> ("jack_client_open");
    decltype (::jack_client_close)* const close = find<decltype (::jack_client_close)> ("jack_client_close");
    decltype (::jack_on_shutdown)* const onShutdown =
        find<decltype (::jack_on_shutdown)> ("jack_on_shutdown");
    decltype (::jack_last_frame_time)* const lastFrameTime =
        find<decltype (::jack_last_frame_time)> ("jack_last_frame_time");
};

/** One for all, since a library that is stuck stays so, and never closed: then a client of it may wait. */
JackLibrary& jackLibrary()
{
    static auto& library = *new JackLibrary;
    return library;
}

class JackDevices final : public juce::AudioIODeviceType, private juce::AudioIODeviceType::Listener
{
public:
    explicit JackDevices (std::unique_ptr<juce::AudioIODeviceType> toolkitDevices)
        : AudioIODeviceType (toolkitDevices->getTypeName()), devices (std::move (toolkitDevices))
    {
        devices->addListener (this);
    }

    ~JackDevices() override { devices->removeListener (this); }

    void scanForDevices() override
    {
        auto& library = jackLibrary();
        hasServer = library.mayBeAsked() && library.answersInTime();

        if (hasServer)
            devices->scanForDevices();
    }

    juce::StringArray getDeviceNames (bool wantInputNames) const override
    {
        return hasServer ? devices->getDeviceNames (wantInputNames) : juce::StringArray();
    }

    int getDefaultDeviceIndex (bool forInput) const override
    {
        return hasServer ? devices->getDefaultDeviceIndex (forInput) : -1;
    }

    int getIndexOfDevice (juce::AudioIODevice* device, bool asInput) const override
    {
        return hasServer ? devices->getIndexOfDevice (device, asInput) : -1;
    }

    bool hasSeparateInputsAndOutputs() const override { return devices->hasSeparateInputsAndOutputs(); }

    juce::AudioIODevice* createDevice (const juce::String& output, const juce::String& input) override
    {
        return hasServer ? devices->createDevice (output, input) : nullptr;
    }

private:
    void audioDeviceListChanged() override { callDeviceChangeListeners(); }

    std::unique_ptr<juce::AudioIODeviceType> devices;
    bool hasServer = false; // at the last look
};
} // namespace

std::unique_ptr<juce::AudioIODeviceType> createJackDevices()
{
    std::unique_ptr<juce::AudioIODeviceType> devices (
        juce::AudioIODeviceType::createAudioIODeviceType_JACK());
    return devices != nullptr ? std::make_unique<JackDevices> (std::move (devices)) : nullptr;
}

std::unique_ptr<JackClock> JackClock::open()
{
    auto& library = jackLibrary();

    if (library.onShutdown == nullptr || library.lastFrameTime == nullptr || ! library.mayBeAsked()
        || ! library.answersInTime())
        return nullptr;

    jack_status_t status{};
    std::unique_ptr<JackClock> clock (new JackClock);
    clock->lastFrameTime = library.lastFrameTime;
    clock->client = library.open (JUCE_JACK_CLIENT_NAME "-clock", JackNoStartServer, &status);

    if (clock->client == nullptr)
        return nullptr;

    library.onShutdown (
        clock->client, [] (void* self) { static_cast<JackClock*> (self)->isGone = true; }, clock.get());
    return clock;
}

JackClock::~JackClock()
{
    // What is left of a client whose server has gone can't be closed without waiting.
    if (client != nullptr && isAlive())
        jackLibrary().close (client);
}

} // namespace tessivar
