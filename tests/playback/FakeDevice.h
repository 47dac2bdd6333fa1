#pragma once

#include <juce_audio_devices/juce_audio_devices.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace tessivar::test
{

/** A sound card of the tests: what it can do, what becomes of it, and what came out. */
struct FakeCard
{
    juce::String name = "card";
    std::vector<double> rates{ 44100.0, 48000.0, 96000.0 };
    double preferredRate = 44100.0;
    bool isPresent = true;
    bool refusesToOpen = false;

    // Of the device that is open, if any.
    bool isOpen = false;
    bool hasDiedSilently = false; // takes no blocks and says nothing
    double rate = 0.0;
    int overruns = 0;
    juce::AudioIODeviceCallback* callback = nullptr;
    std::vector<float> left, right; // everything that came out
    int numOpened = 0;

    /** Asks for a block, as the card's thread would. */
    void pump (int numSamples)
    {
        if (callback == nullptr || ! isOpen || hasDiedSilently)
            return;

        const auto start = left.size(), size = static_cast<std::size_t> (std::max (0, numSamples));
        left.resize (start + size, 77.0f);
        right.resize (start + size, 77.0f);
        float* outputs[] = { left.data() + start, right.data() + start };
        callback->audioDeviceIOCallbackWithContext (nullptr, 0, outputs, 2, numSamples, {});
    }

    /** Goes away with a word, as when a sound server shuts down. */
    void dieLoudly()
    {
        isOpen = false;

        if (auto* told = std::exchange (callback, nullptr))
            told->audioDeviceStopped();
    }
};

class FakeDevice final : public juce::AudioIODevice
{
public:
    explicit FakeDevice (std::shared_ptr<FakeCard> cardToUse)
        : AudioIODevice (cardToUse->name, "Fake"), card (std::move (cardToUse))
    {
    }

    ~FakeDevice() override { close(); }

    juce::StringArray getOutputChannelNames() override { return { "left", "right" }; }
    juce::StringArray getInputChannelNames() override { return {}; }
    juce::Array<double> getAvailableSampleRates() override
    {
        return { card->rates.data(), static_cast<int> (card->rates.size()) };
    }
    juce::Array<int> getAvailableBufferSizes() override { return { 64, 512, 8192 }; }
    int getDefaultBufferSize() override { return 512; }

    juce::String open (const juce::BigInteger&, const juce::BigInteger&, double rate, int) override
    {
        if (card->refusesToOpen || ! card->isPresent)
            return error = "the card is busy";

        card->isOpen = true;
        card->hasDiedSilently = false;
        card->rate =
            std::count (card->rates.begin(), card->rates.end(), rate) > 0 ? rate : card->preferredRate;
        ++card->numOpened;
        return error = {};
    }

    void close() override
    {
        stop();
        card->isOpen = false;
    }

    void start (juce::AudioIODeviceCallback* callback) override
    {
        if (callback != nullptr)
            callback->audioDeviceAboutToStart (this);

        card->callback = callback;
    }

    void stop() override
    {
        if (auto* told = std::exchange (card->callback, nullptr))
            told->audioDeviceStopped();
    }

    bool isOpen() override { return card->isOpen; }
    bool isPlaying() override { return card->callback != nullptr; }
    juce::String getLastError() override { return error; }
    int getCurrentBufferSizeSamples() override { return 512; }
    double getCurrentSampleRate() override { return card->isOpen ? card->rate : card->preferredRate; }
    int getCurrentBitDepth() override { return 32; }
    int getXRunCount() const noexcept override { return card->overruns; }
    juce::BigInteger getActiveOutputChannels() const override { return 3; }
    juce::BigInteger getActiveInputChannels() const override { return 0; }
    int getOutputLatencyInSamples() override { return 0; }
    int getInputLatencyInSamples() override { return 0; }

private:
    const std::shared_ptr<FakeCard> card;
    juce::String error;
};

class FakeDeviceType final : public juce::AudioIODeviceType
{
public:
    explicit FakeDeviceType (std::vector<std::shared_ptr<FakeCard>> cardsToShow)
        : AudioIODeviceType ("Fake"), cards (std::move (cardsToShow))
    {
    }

    void scanForDevices() override {}
    bool hasSeparateInputsAndOutputs() const override { return true; }
    int getDefaultDeviceIndex (bool) const override { return 0; }

    juce::StringArray getDeviceNames (bool wantsInputs) const override
    {
        juce::StringArray names;

        for (const auto& card : cards)
            if (! wantsInputs && card->isPresent)
                names.add (card->name);

        return names;
    }

    int getIndexOfDevice (juce::AudioIODevice* device, bool) const override
    {
        return device != nullptr ? getDeviceNames (false).indexOf (device->getName()) : -1;
    }

    juce::AudioIODevice* createDevice (const juce::String& output, const juce::String&) override
    {
        for (const auto& card : cards)
            if (card->name == output)
                return new FakeDevice (card);

        return nullptr;
    }

private:
    const std::vector<std::shared_ptr<FakeCard>> cards;
};

} // namespace tessivar::test
