#pragma once

#include "model/LittleEndian.h"
#include "terms/DrumType.h"
#include "terms/KnobValues.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace tessivar
{

/** The 144 bytes of a track that a group file keeps in its table, little-endian:

      0  i64 sampleDataOffset     16 i64 nameOffset     24 i64 nameLength     48 i64 lengthInSamples
     68  f32 focus A              72 f32 focus B        76 f32 fine B         80 f32 further value
     84  f32 selector             88 i64 metadataEnd    96 f32 fine A        104 i32 drum type code
    116  u8  processed            136 f32 recordVersion

    Every byte is kept as it came; an accessor reads or writes its own field alone, so that what this program
    does not know survives loading and saving. docs/group-file.md has the whole table.
*/
class TrackRecord
{
public:
    static constexpr std::size_t encodedSize = 144;
    static constexpr float currentVersion = 1.5f;
    static constexpr float firstVersionWithSettingB = 1.2f;

    using Bytes = std::array<std::uint8_t, encodedSize>;

    /** All zeros but the version: setting A chosen, both knobs down, an unknown drum type. */
    TrackRecord();

    /** Takes the bytes of a file as they are, except that records older than 1.2 get no setting B: its bytes
        were used otherwise then. The version of what results is the current one.
    */
    [[nodiscard]] static TrackRecord fromFile (std::span<const std::uint8_t, encodedSize> bytes);

    /** Whether the bytes of a file belong to a record without setting B. */
    [[nodiscard]] static bool isWithoutSettingB (std::span<const std::uint8_t, encodedSize> bytes);

    [[nodiscard]] const Bytes& bytes() const { return raw; }

    [[nodiscard]] std::int64_t sampleDataOffset() const { return number (at::sampleDataOffset); }
    [[nodiscard]] std::int64_t nameOffset() const { return number (at::nameOffset); }
    [[nodiscard]] std::int64_t nameLength() const { return number (at::nameLength); }
    [[nodiscard]] std::int64_t lengthInSamples() const { return number (at::lengthInSamples); }
    [[nodiscard]] std::int64_t metadataEnd() const { return number (at::metadataEnd); }
    void setSampleDataOffset (std::int64_t offset) { setNumber (at::sampleDataOffset, offset); }
    void setName (std::int64_t offset, std::int64_t lengthInBytes)
    {
        setNumber (at::nameOffset, offset);
        setNumber (at::nameLength, lengthInBytes);
    }
    void setLengthInSamples (std::int64_t length) { setNumber (at::lengthInSamples, length); }
    void setMetadataEnd (std::int64_t offset) { setNumber (at::metadataEnd, offset); }

    /** Values as the renderer may use them, whatever the bytes hold. */
    [[nodiscard]] KnobValues knobs (KnobSetting) const;
    void setKnobs (KnobSetting, KnobValues);

    [[nodiscard]] KnobSetting selected() const;
    void select (KnobSetting);

    /** `other` for an unknown code. */
    [[nodiscard]] DrumType drumType() const;
    void setDrumType (DrumType);

    /** Whether the track's samples are seven interleaved channels: six of the rendering and the source. */
    [[nodiscard]] bool isProcessed() const;
    void setProcessed (bool);

    bool operator== (const TrackRecord&) const = default;

private:
    struct at
    {
        static constexpr std::size_t sampleDataOffset = 0, nameOffset = 16, nameLength = 24,
                                     lengthInSamples = 48, focusA = 68, focusB = 72, fineB = 76,
                                     selector = 84, metadataEnd = 88, fineA = 96, drumType = 104,
                                     processed = 116, version = 136;
        // Setting B, the further value and the selector: of no meaning in records older than version 1.2.
        static constexpr std::size_t sinceSettingB = 72, sinceSettingBEnd = 88;
    };

    [[nodiscard]] std::int64_t number (std::size_t place) const
    {
        return littleEndian::readI64 (&raw[place]);
    }
    void setNumber (std::size_t place, std::int64_t value) { littleEndian::writeI64 (&raw[place], value); }

    Bytes raw{};
};

/** The sum over a table of records that the file's trailer holds. Only the last eight bytes of a record reach
    it: each byte is preceded by a shift to the left by eight.
*/
[[nodiscard]] std::uint64_t recordChecksum (std::span<const std::uint8_t> table);

} // namespace tessivar
