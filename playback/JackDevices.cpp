#include "playback/JackDevices.h"

#if JUCE_LINUX
    #include <jack/jack.h>

    #include <dlfcn.h>
#endif

#include <chrono>
#include <future>
#include <thread>

namespace tessivar
{

bool listsJackServer (const juce::String& sockets)
{
    // Columns: number, references, protocol, flags, type, state, inode, path.
    constexpr int flagsColumn = 3, pathColumn = 7;
    constexpr int listens = 0x10000;

    for (const auto& line : juce::StringArray::fromLines (sockets))
    {
        auto columns = juce::StringArray::fromTokens (line, " ", {});
        columns.removeEmptyStrings();

        if (columns.size() > pathColumn && (columns[flagsColumn].getHexValue32() & listens) != 0
            && columns[pathColumn].fromLastOccurrenceOf ("/", false, false).startsWith ("jack_"))
            return true;
    }

    return false;
}

#if JUCE_LINUX
namespace
{
/** libjack, or whatever stands in for it. */
class JackLibrary
{
public:
    [[nodiscard]] bool mayBeAsked() const
    {
        return open != nullptr && close != nullptr && ! isStuck
               && (isPipeWire() || listsJackServer (juce::File ("/proc/net/unix").loadFileAsString()));
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
    static constexpr std::chrono::seconds longestAnswer{ 2 };

    /** PipeWire's libjack keeps no such database, and its server has no socket of JACK's. */
    [[nodiscard]] bool isPipeWire() const
    {
        Dl_info info{};
        return ::dladdr (reinterpret_cast<void*> (open), &info) != 0
               && juce::String (info.dli_fname).containsIgnoreCase ("pipewire");
    }

    juce::DynamicLibrary library{ "libjack.so.0" };
    decltype (&::jack_client_open) open =
        reinterpret_cast<decltype (open)> (library.getFunction ("jack_client_open"));
    decltype (&::jack_client_close) close =
        reinterpret_cast<decltype (close)> (library.getFunction ("jack_client_close"));
    bool hasAnswered = false, isStuck = false;
};

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
        // One for all, because a library that is stuck stays stuck; never closed, so that a client in it can
        // wait.
        static auto& library = *new JackLibrary;
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

#else

std::unique_ptr<juce::AudioIODeviceType> createJackDevices()
{
    return std::unique_ptr<juce::AudioIODeviceType> (juce::AudioIODeviceType::createAudioIODeviceType_JACK());
}

#endif

} // namespace tessivar
