#include "platform/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>

namespace tessivar
{

namespace
{
using Kind = SystemError::Kind;

/** The first number of a kind is its usual one. */
constexpr struct
{
    Kind kind;
    int number;
} numbers[] = { { Kind::none, 0 },
                { Kind::notFound, ENOENT },
                { Kind::notAFolder, ENOTDIR },
                { Kind::isFolder, EISDIR },
                { Kind::alreadyExists, EEXIST },
                { Kind::notPermitted, EACCES },
                { Kind::notPermitted, EPERM },
                { Kind::notPermitted, EROFS },
                { Kind::notPermitted, ETXTBSY },
                { Kind::inUse, EWOULDBLOCK },
                { Kind::noRoom, ENOSPC },
                { Kind::noRoom, EDQUOT },
                { Kind::tooLarge, EFBIG },
                { Kind::notSupported, EINVAL },
                { Kind::notSupported, EOPNOTSUPP },
                { Kind::notSupported, ENOSYS },
                { Kind::failed, EIO } };
} // namespace

SystemError::SystemError (Kind kind)
    : number (std::ranges::find (numbers, kind, [] (const auto& entry) { return entry.kind; })->number)
{
}

SystemError::Kind SystemError::kind() const
{
    const auto* const found =
        std::ranges::find (numbers, number, [] (const auto& entry) { return entry.number; });
    return found == std::end (numbers) ? Kind::failed : found->kind;
}

juce::String SystemError::text() const
{
    return juce::String::fromUTF8 (std::generic_category().message (number).c_str());
}

} // namespace tessivar
