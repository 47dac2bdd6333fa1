#include "jobs/StoreSignals.h"

#include "engine/AnalysisSettings.h"

#include <algorithm>

namespace tessivar
{

bool writeSamples (StoreFile& file, std::int64_t firstSample, std::span<const float> samples)
{
    return file.write (
        static_cast<std::uint64_t> (firstSample) * sizeof (float), samples.data(), samples.size_bytes());
}

bool readSamples (StoreFile& file, std::int64_t firstSample, std::span<float> dest)
{
    return file.read (
        static_cast<std::uint64_t> (firstSample) * sizeof (float), dest.data(), dest.size_bytes());
}

bool TrackSource::read (std::int64_t start, std::span<float> dest)
{
    const auto end = start + static_cast<std::int64_t> (dest.size());
    const auto first = std::clamp<std::int64_t> (start, 0, lengthInSamples());
    const auto last = std::clamp<std::int64_t> (end, first, lengthInSamples());

    // Silence on both sides; a range outside is all silence.
    const auto ahead = static_cast<std::size_t> (std::min (first, end) - std::min (start, first));
    const auto count = static_cast<std::size_t> (last - first);

    if (count == 0)
    {
        std::fill (dest.begin(), dest.end(), 0.0f);
        return true;
    }

    std::fill_n (dest.begin(), ahead, 0.0f);
    std::fill (dest.begin() + static_cast<std::ptrdiff_t> (ahead + count), dest.end(), 0.0f);
    return samples->readFrames (first, dest.subspan (ahead, count));
}

bool StorePlanes::write (int plane, std::int64_t start, std::span<const float> samples)
{
    return writeSamples (*file, plane * length + start, samples);
}

bool StorePlanes::read (int plane, std::int64_t start, std::span<float> dest)
{
    return readSamples (*file, plane * length + start, dest);
}

} // namespace tessivar
