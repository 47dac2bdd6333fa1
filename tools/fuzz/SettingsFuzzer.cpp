#include "model/settings/SettingsMerge.h"

#include <cstdint>
#include <cstdlib>

/** Whatever is read as settings is read the same again after it was written, and is left as it is by a merge
    with itself.
*/
extern "C" int LLVMFuzzerTestOneInput (const std::uint8_t* data, std::size_t size)
{
    using namespace tessivar;
    SettingsValues values;

    if (parseSettings (data, size, values).failed())
        return 0;

    const auto text = encodeSettings (values);
    SettingsValues again;
    const auto isSame =
        parseSettings (text.toRawUTF8(), text.getNumBytesAsUTF8(), again).wasOk() && again == values;

    if (! isSame || mergeSettings (values, values, values) != values)
        std::abort();

    return 0;
}
