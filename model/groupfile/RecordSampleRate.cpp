#include "model/groupfile/RecordSampleRate.h"

#include "model/AudioIntake.h"
#include "model/LittleEndian.h"

#include <algorithm>
#include <bit>

namespace tessivar
{

namespace
{
struct OpenBytes
{
    std::size_t start, size;
};

constexpr OpenBytes openBytes[] = { { 56, 12 }, { 8, 8 }, { 32, 16 }, { 100, 4 }, { 108, 8 }, { 120, 16 } };
} // namespace

bool isSupportedSampleRate (double rate)
{
    return std::any_of (supportedSampleRates.begin(),
                        supportedSampleRates.end(),
                        [&] (int supported) { return rate == static_cast<double> (supported); });
}
std::optional<double> sampleRateInRecord (const TrackRecord::Bytes& record)
{
    for (const auto& part : openBytes)
        for (std::size_t i = 0; i + 4 <= part.size; i += 4)
        {
            const auto* bytes = &record[part.start + i];

            if (i + 8 <= part.size)
                if (const auto rate = std::bit_cast<double> (littleEndian::readU64 (bytes));
                    isSupportedSampleRate (rate))
                    return rate;

            for (const auto rate : { static_cast<double> (littleEndian::readF32 (bytes)),
                                     static_cast<double> (littleEndian::readU32 (bytes)) })
                if (isSupportedSampleRate (rate))
                    return rate;
        }

    return std::nullopt;
}

} // namespace tessivar
