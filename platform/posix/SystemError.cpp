#include "platform/SystemErrorNumbers.h"

#include <cerrno>
#include <system_error>

namespace tessivar
{

namespace
{
using Kind = SystemError::Kind;

constexpr SystemErrorNumber numbers[] = { { Kind::none, 0 },
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

std::span<const SystemErrorNumber> systemErrorNumbers()
{
    return numbers;
}

juce::String SystemError::text() const
{
    return juce::String::fromUTF8 (std::generic_category().message (number).c_str());
}

} // namespace tessivar
