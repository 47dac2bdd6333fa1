#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

/** Numbers in the byte order of little-endian files, on any machine. The caller has checked that the bytes
    are there.
*/
namespace tessivar::littleEndian
{

template <typename Number>
using BytesOf = std::array<std::uint8_t, sizeof (Number)>;

/** The bytes in the other order where this machine is no little-endian one. */
template <typename Bytes>
Bytes ordered (Bytes bytes)
{
    if constexpr (std::endian::native != std::endian::little)
        std::reverse (bytes.begin(), bytes.end());

    return bytes;
}

template <typename Number>
Number read (const std::uint8_t* bytes)
{
    BytesOf<Number> raw;
    std::copy_n (bytes, raw.size(), raw.begin());
    return std::bit_cast<Number> (ordered (raw));
}

template <typename Number>
void write (std::uint8_t* bytes, Number value)
{
    const auto raw = ordered (std::bit_cast<BytesOf<Number>> (value));
    std::copy (raw.begin(), raw.end(), bytes);
}

inline constexpr auto readU16 = read<std::uint16_t>;
inline constexpr auto readU32 = read<std::uint32_t>;
inline constexpr auto readU64 = read<std::uint64_t>;
inline constexpr auto readI64 = read<std::int64_t>;
inline constexpr auto readF32 = read<float>;
inline constexpr auto writeU32 = write<std::uint32_t>;
inline constexpr auto writeU64 = write<std::uint64_t>;
inline constexpr auto writeI64 = write<std::int64_t>;
inline constexpr auto writeF32 = write<float>;

} // namespace tessivar::littleEndian
