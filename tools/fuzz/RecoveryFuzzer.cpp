#include "model/LittleEndian.h"
#include "model/TrackRecord.h"
#include "model/groupfile/AudioSums.h"
#include "model/groupfile/GroupTables.h"
#include "model/recovery/RecoveryEntry.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace
{
using namespace tessivar;

/** Whatever is read as an entry is read the same again after it was written. */
void check (std::span<const std::uint8_t> bytes)
{
    RecoveryEntry entry, again;

    if (decodeRecoveryEntry (bytes, entry).failed())
        return;

    const auto written = encodeRecoveryEntry (entry);

    if (decodeRecoveryEntry (written, again).failed() || encodeRecoveryEntry (again) != written
        || again.audio != entry.audio)
        std::abort();
}

/** Makes both sums fit, without which nothing behind them would be reached. */
void mendSums (std::vector<std::uint8_t>& bytes)
{
    constexpr std::string_view locatorTag = "TESSIVAR";
    constexpr std::ptrdiff_t crcInLocator = 12;
    constexpr auto trailer = GroupFileTrailer::encodedSize;

    if (bytes.size() < trailer)
        return;

    const auto table = littleEndian::readU32 (&bytes[bytes.size() - trailer]) * TrackRecord::encodedSize;

    if (table <= bytes.size() - trailer)
        littleEndian::writeU64 (
            &bytes[bytes.size() - trailer + 4],
            recordChecksum (std::span (bytes).subspan (bytes.size() - trailer - table, table)));

    const auto locator = std::find_end (bytes.begin(), bytes.end(), locatorTag.begin(), locatorTag.end());

    if (bytes.end() - locator < crcInLocator + 4)
        return;

    littleEndian::writeU32 (&*(locator + crcInLocator), 0);
    littleEndian::writeU32 (&*(locator + crcInLocator), crc32Of (bytes));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput (const std::uint8_t* data, std::size_t size)
{
    check ({ data, size });
    std::vector<std::uint8_t> mended (data, data + size);
    mendSums (mended);
    check (mended);
    return 0;
}
