#include "playback/DeviceCallback.h"

#include <algorithm>
#include <chrono>

namespace tessivar
{

void DeviceCallback::audioDeviceAboutToStart (juce::AudioIODevice* device)
{
    const auto deviceRateNow = device->getCurrentSampleRate();
    const auto needsConversion = deviceRateNow != engine.sampleRate();
    const auto isReachable = ! needsConversion || converter.prepare (engine.sampleRate(), deviceRateNow);

    preparedGroupRate.store (engine.sampleRate(), std::memory_order_relaxed);
    rate.store (deviceRateNow, std::memory_order_relaxed);
    converts.store (needsConversion, std::memory_order_relaxed);
    unreachable.store (! isReachable, std::memory_order_relaxed);
    smoothedLoad.store (0.0f, std::memory_order_relaxed);
    pendingStart = pendingCount = silentFrames = 0;
    knowsNextCycle = false;

    if (device->getTypeName() != "JACK")
        clock.reset();
    else if (clock == nullptr || ! clock->isAlive())
        clock = JackClock::open();

    engine.prepare();
    starts.fetch_add (1, std::memory_order_relaxed);
}

void DeviceCallback::audioDeviceIOCallbackWithContext (const float* const*,
                                                       int,
                                                       float* const* outputs,
                                                       int numOutputs,
                                                       int numSamples,
                                                       const juce::AudioIODeviceCallbackContext&)
{
    const juce::ScopedNoDenormals noDenormals;
    const auto before = std::chrono::steady_clock::now();
    callbacks.fetch_add (1, std::memory_order_relaxed);

    if (numSamples <= 0)
        return;

    if (engine.sampleRate() != groupRate())
    {
        for (int i = 0; i < numOutputs; ++i)
            if (outputs[i] != nullptr)
                std::fill_n (outputs[i], numSamples, 0.0f);
    }
    else if (converts.load (std::memory_order_relaxed))
        renderConverted (outputs, numOutputs, numSamples);
    else
        engine.render (outputs, numOutputs, numSamples);

    measureLoad (std::chrono::duration<double> (std::chrono::steady_clock::now() - before).count(),
                 numSamples);
    countMissed (numSamples);
}

void DeviceCallback::renderConverted (float* const* outputs, int numOutputs, int numSamples)
{
    std::array<float, TrackVoice::maxFrames> converted;

    for (int done = 0; done < numSamples;)
    {
        const auto wanted = std::min (numSamples - done, TrackVoice::maxFrames);
        int count = 0;

        while (count < wanted && canConvert())
        {
            if (pendingCount == 0)
            {
                float* mono[] = { pending.data() };
                engine.render (mono, 1, TrackVoice::maxFrames);
                pendingStart = 0;
                pendingCount = TrackVoice::maxFrames;
                noteSilence();
            }

            // Stopped, and the converter holds nothing but zeros: converting more would only warm the
            // machine.
            if (silentFrames >= converterMemory && ! engine.isPlaying())
            {
                const auto silent = std::min (wanted - count, pendingCount);
                std::fill_n (converted.begin() + count, silent, 0.0f);
                pendingCount = 0;
                count += silent;
                continue;
            }

            const auto [numRead, numWritten] = converter.process (
                pending.data() + pendingStart, pendingCount, converted.data() + count, wanted - count);
            pendingStart += numRead;
            pendingCount -= numRead;
            count += numWritten;
        }

        std::fill (converted.begin() + count, converted.begin() + wanted, 0.0f);

        for (int i = 0; i < numOutputs; ++i)
        {
            if (outputs[i] != nullptr && i < 2)
                std::copy_n (converted.begin(), wanted, outputs[i] + done);
            else if (outputs[i] != nullptr)
                std::fill_n (outputs[i] + done, wanted, 0.0f);
        }

        done += wanted;
    }
}

void DeviceCallback::noteSilence()
{
    const auto isSilent = std::all_of (pending.begin(), pending.end(), [] (float x) { return x == 0.0f; });
    silentFrames = isSilent ? std::min (silentFrames + TrackVoice::maxFrames, converterMemory) : 0;
}

void DeviceCallback::measureLoad (double seconds, int numSamples)
{
    const auto share = static_cast<float> (seconds * deviceRate() / numSamples);
    const auto smoothed = smoothedLoad.load (std::memory_order_relaxed);
    smoothedLoad.store (smoothed + 0.01f * (share - smoothed), std::memory_order_relaxed);

    if (share > peakLoad.load (std::memory_order_relaxed))
        peakLoad.store (share, std::memory_order_relaxed);
}

void DeviceCallback::countMissed (int numSamples)
{
    if (clock == nullptr)
        return;

    // Looked at when the block is done: a cycle that has begun meanwhile did not get it.
    const auto cycle = clock->cycleStart();
    const auto late = knowsNextCycle ? static_cast<std::int32_t> (cycle - nextCycle) : 0;

    if (late > 0 && engine.isPlaying())
        missedBlocks.fetch_add (static_cast<std::uint64_t> ((late + numSamples - 1) / numSamples),
                                std::memory_order_relaxed);

    // Below 0 a late block is followed by the one that was asked for meanwhile: it is in time.
    if (late >= 0)
        nextCycle = cycle + static_cast<std::uint32_t> (numSamples);

    knowsNextCycle = true;
}

void DeviceCallback::audioDeviceStopped()
{
    smoothedLoad.store (0.0f, std::memory_order_relaxed);
}

} // namespace tessivar
