#include "model/TrackRecord.h"

#include <algorithm>

namespace tessivar
{

TrackRecord::TrackRecord()
{
    littleEndian::writeF32 (&raw[at::version], currentVersion);
}

TrackRecord TrackRecord::fromFile (std::span<const std::uint8_t, encodedSize> bytes)
{
    TrackRecord record;
    std::copy (bytes.begin(), bytes.end(), record.raw.begin());

    if (isWithoutSettingB (bytes))
        std::fill (record.raw.begin() + at::sinceSettingB,
                   record.raw.begin() + at::sinceSettingBEnd,
                   std::uint8_t{});

    littleEndian::writeF32 (&record.raw[at::version], currentVersion);
    return record;
}

bool TrackRecord::isWithoutSettingB (std::span<const std::uint8_t, encodedSize> bytes)
{
    return littleEndian::readF32 (&bytes[at::version]) < firstVersionWithSettingB;
}

KnobValues TrackRecord::knobs (KnobSetting setting) const
{
    const auto isA = setting == KnobSetting::a;
    const KnobValues stored{ littleEndian::readF32 (&raw[isA ? at::focusA : at::focusB]),
                             littleEndian::readF32 (&raw[isA ? at::fineA : at::fineB]) };
    return stored.sanitised();
}

void TrackRecord::setKnobs (KnobSetting setting, KnobValues values)
{
    const auto isA = setting == KnobSetting::a;
    const auto stored = values.sanitised();
    littleEndian::writeF32 (&raw[isA ? at::focusA : at::focusB], stored.focus);
    littleEndian::writeF32 (&raw[isA ? at::fineA : at::fineB], stored.fine);
}

KnobSetting TrackRecord::selected() const
{
    // Not a number is not 0.0 either.
    const auto isA = littleEndian::readF32 (&raw[at::selector]) == 0.0f;
    return isA ? KnobSetting::a : KnobSetting::b;
}

void TrackRecord::select (KnobSetting setting)
{
    if (selected() != setting)
        littleEndian::writeF32 (&raw[at::selector], setting == KnobSetting::a ? 0.0f : 1.0f);
}

DrumType TrackRecord::drumType() const
{
    return drumTypeFromCode (littleEndian::readU32 (&raw[at::drumType])).value_or (DrumType::other);
}

void TrackRecord::setDrumType (DrumType type)
{
    littleEndian::writeU32 (&raw[at::drumType], drumTypeCode (type));
}

bool TrackRecord::isProcessed() const
{
    return raw[at::processed] != std::uint8_t{};
}

void TrackRecord::setProcessed (bool processed)
{
    if (isProcessed() != processed)
        raw[at::processed] = processed ? std::uint8_t{ 1 } : std::uint8_t{};
}

std::uint64_t recordChecksum (std::span<const std::uint8_t> table)
{
    std::uint64_t sum = 0;

    for (std::size_t start = 0; start + TrackRecord::encodedSize <= table.size();
         start += TrackRecord::encodedSize)
    {
        std::uint64_t value = 0;

        for (const auto byte : table.subspan (start, TrackRecord::encodedSize))
            value = (value << 8) ^ byte;

        sum += value;
    }

    return sum;
}

} // namespace tessivar
