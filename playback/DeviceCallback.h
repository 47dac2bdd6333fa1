#pragma once

#include "playback/JackDevices.h"
#include "playback/PlaybackEngine.h"
#include "playback/RateConverter.h"

#include <juce_audio_devices/juce_audio_devices.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

namespace tessivar
{

/** Feeds one sound device from the engine, at the device's rate. */
class DeviceCallback final : public juce::AudioIODeviceCallback
{
public:
    explicit DeviceCallback (PlaybackEngine& playbackEngine) : engine (playbackEngine) {}

    void audioDeviceAboutToStart (juce::AudioIODevice* device) override;
    void audioDeviceIOCallbackWithContext (const float* const* inputs,
                                           int numInputs,
                                           float* const* outputs,
                                           int numOutputs,
                                           int numSamples,
                                           const juce::AudioIODeviceCallbackContext& context) override;
    void audioDeviceStopped() override;

    // Any thread.

    /** Counts every block a device asked for and every start of one. */
    [[nodiscard]] std::uint64_t numCallbacks() const { return callbacks.load (std::memory_order_relaxed); }
    [[nodiscard]] std::uint64_t numStarts() const { return starts.load (std::memory_order_relaxed); }

    /** Hz; 0 before the first start. */
    [[nodiscard]] double deviceRate() const { return rate.load (std::memory_order_relaxed); }

    /** Hz, the Group's rate when the device was started. While the engine has another one, the device gets
        silence.
    */
    [[nodiscard]] double groupRate() const { return preparedGroupRate.load (std::memory_order_relaxed); }

    [[nodiscard]] bool isConverting() const { return converts.load (std::memory_order_relaxed); }

    /** False when the device runs at an unreachable rate; it then gets silence. */
    [[nodiscard]] bool canConvert() const { return ! unreachable.load (std::memory_order_relaxed); }

    /** Blocks that were not there in time while the engine played, by the clock of the server (JACK). */
    [[nodiscard]] std::uint64_t numMissedBlocks() const
    {
        return missedBlocks.load (std::memory_order_relaxed);
    }

    /** Whether that clock is there; without it the device's own count of overruns has to do. */
    [[nodiscard]] bool hasClock() const { return clock != nullptr; }

    /** Share of the available time spent in the callback, smoothed over some 100 blocks. */
    [[nodiscard]] float load() const { return smoothedLoad.load (std::memory_order_relaxed); }

    /** The largest such share since the last call. */
    [[nodiscard]] float takePeakLoad() { return peakLoad.exchange (0.0f, std::memory_order_relaxed); }

private:
    static constexpr int converterMemory = 4096; // frames, more than the longest filter

    void renderConverted (float* const* outputs, int numOutputs, int numSamples);
    void noteSilence();
    void measureLoad (double seconds, int numSamples);
    void countMissed (int numSamples);

    PlaybackEngine& engine;
    RateConverter converter;

    // Samples at the Group's rate, not converted yet.
    std::array<float, TrackVoice::maxFrames> pending{};
    int pendingStart = 0, pendingCount = 0;
    int silentFrames = 0; // rendered in a row up to now; at most converterMemory

    std::unique_ptr<JackClock> clock;
    std::uint32_t nextCycle = 0; // of the clock, where the block to come belongs
    bool knowsNextCycle = false;

    std::atomic<std::uint64_t> callbacks{ 0 }, starts{ 0 }, missedBlocks{ 0 };
    std::atomic<double> rate{ 0.0 }, preparedGroupRate{ 0.0 };
    std::atomic<bool> converts{ false }, unreachable{ false };
    std::atomic<float> smoothedLoad{ 0.0f }, peakLoad{ 0.0f };
};

} // namespace tessivar
