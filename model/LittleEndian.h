#pragma once

#include <bit>
#include <cstdint>

/** Numbers in the byte order of little-endian files, on any machine. The caller has checked that the bytes
    are there.
*/
namespace tessivar::littleEndian
{

inline std::uint16_t readU16 (const std::uint8_t* bytes)
{
    return static_cast<std::uint16_t> (bytes[0] | (bytes[1] << 8));
}

inline std::uint32_t readU32 (const std::uint8_t* bytes)
{
    return readU16 (bytes) | (static_cast<std::uint32_t> (readU16 (bytes + 2)) << 16);
}

inline std::uint64_t readU64 (const std::uint8_t* bytes)
{
    return readU32 (bytes) | (static_cast<std::uint64_t> (readU32 (bytes + 4)) << 32);
}

inline std::int64_t readI64 (const std::uint8_t* bytes)
{
    return static_cast<std::int64_t> (readU64 (bytes));
}

inline float readF32 (const std::uint8_t* bytes)
{
    return std::bit_cast<float> (readU32 (bytes));
}

inline void writeU16 (std::uint8_t* bytes, std::uint16_t value)
{
    bytes[0] = static_cast<std::uint8_t> (value);
    bytes[1] = static_cast<std::uint8_t> (value >> 8);
}

inline void writeU32 (std::uint8_t* bytes, std::uint32_t value)
{
    writeU16 (bytes, static_cast<std::uint16_t> (value));
    writeU16 (bytes + 2, static_cast<std::uint16_t> (value >> 16));
}

inline void writeU64 (std::uint8_t* bytes, std::uint64_t value)
{
    writeU32 (bytes, static_cast<std::uint32_t> (value));
    writeU32 (bytes + 4, static_cast<std::uint32_t> (value >> 32));
}

inline void writeI64 (std::uint8_t* bytes, std::int64_t value)
{
    writeU64 (bytes, static_cast<std::uint64_t> (value));
}

inline void writeF32 (std::uint8_t* bytes, float value)
{
    writeU32 (bytes, std::bit_cast<std::uint32_t> (value));
}

} // namespace tessivar::littleEndian
