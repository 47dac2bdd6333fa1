#include "platform/SystemErrorNumbers.h"
#include "platform/windows/SystemCall.h"

namespace tessivar
{

namespace
{
using Kind = SystemError::Kind;

// Not in all headers.
constexpr int directoryNotSupported = 336, fileSystemLimitation = 665, diskQuotaExceeded = 1295;

constexpr SystemErrorNumber numbers[] = { { Kind::none, ERROR_SUCCESS },
                                          { Kind::notFound, ERROR_FILE_NOT_FOUND },
                                          { Kind::notFound, ERROR_PATH_NOT_FOUND },
                                          { Kind::notFound, ERROR_INVALID_DRIVE },
                                          { Kind::notFound, ERROR_BAD_NETPATH },
                                          { Kind::notFound, ERROR_BAD_NET_NAME },
                                          { Kind::notAFolder, ERROR_DIRECTORY },
                                          { Kind::isFolder, directoryNotSupported },
                                          { Kind::alreadyExists, ERROR_FILE_EXISTS },
                                          { Kind::alreadyExists, ERROR_ALREADY_EXISTS },
                                          { Kind::notPermitted, ERROR_ACCESS_DENIED },
                                          { Kind::notPermitted, ERROR_WRITE_PROTECT },
                                          { Kind::notPermitted, ERROR_NETWORK_ACCESS_DENIED },
                                          { Kind::notPermitted, ERROR_PRIVILEGE_NOT_HELD },
                                          { Kind::inUse, ERROR_SHARING_VIOLATION },
                                          { Kind::inUse, ERROR_LOCK_VIOLATION },
                                          { Kind::inUse, ERROR_DELETE_PENDING },
                                          { Kind::inUse, ERROR_USER_MAPPED_FILE },
                                          { Kind::noRoom, ERROR_DISK_FULL },
                                          { Kind::noRoom, ERROR_HANDLE_DISK_FULL },
                                          { Kind::noRoom, diskQuotaExceeded },
                                          { Kind::tooLarge, ERROR_FILE_TOO_LARGE },
                                          { Kind::tooLarge, fileSystemLimitation },
                                          { Kind::notSupported, ERROR_NOT_SUPPORTED },
                                          { Kind::notSupported, ERROR_INVALID_FUNCTION },
                                          { Kind::notSupported, ERROR_INVALID_PARAMETER },
                                          { Kind::notSupported, ERROR_INVALID_LEVEL },
                                          { Kind::notSupported, ERROR_CALL_NOT_IMPLEMENTED },
                                          { Kind::failed, ERROR_IO_DEVICE } };

juce::String messageIn (DWORD number, DWORD language)
{
    wchar_t* message = nullptr;
    const auto length = ::FormatMessageW (FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM
                                              | FORMAT_MESSAGE_IGNORE_INSERTS,
                                          nullptr,
                                          number,
                                          language,
                                          reinterpret_cast<wchar_t*> (&message),
                                          0,
                                          nullptr);
    const auto text = windows::textOfWide ({ message, length });
    ::LocalFree (message);
    return text.trim().trimCharactersAtEnd (".");
}
} // namespace

std::span<const SystemErrorNumber> systemErrorNumbers()
{
    return numbers;
}

juce::String SystemError::text() const
{
    // In the program's language, where the system knows it.
    constexpr DWORD english = MAKELANGID (LANG_ENGLISH, SUBLANG_ENGLISH_US), ofUser = 0;
    const auto message = messageIn (static_cast<DWORD> (number), english);
    const auto known = message.isNotEmpty() ? message : messageIn (static_cast<DWORD> (number), ofUser);
    return known.isNotEmpty() ? known : "system error " + juce::String (number);
}

} // namespace tessivar
