#pragma once

#include "platform/DiskNames.h"
#include "platform/FileSystemCalls.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#ifndef NOMINMAX
    #define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
    #define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

/** For the sources of this folder, and for those of tools/ that drive programs. */
namespace tessivar::windows
{

inline HANDLE systemHandle (FileHandle handle)
{
    return reinterpret_cast<HANDLE> (handle); // NOLINT(performance-no-int-to-ptr)
}

inline FileHandle handleOf (HANDLE handle)
{
    return static_cast<FileHandle> (reinterpret_cast<std::intptr_t> (handle));
}

/** Why the last call failed. */
inline SystemError lastError()
{
    return SystemError (static_cast<int> (::GetLastError()));
}

/** The answer to a call that returns zero on failure. */
inline SystemError resultOf (BOOL returned)
{
    return returned != 0 ? SystemError() : lastError();
}

/** Others may read, write, rename and remove what is open here. */
constexpr DWORD sharedWithAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/** Text as the system takes it. */
std::wstring wideText (const juce::String& text);
juce::String textOfWide (std::wstring_view text);

/** A path as the system takes it, of any length. */
std::wstring widePath (const juce::File& file);

/** Arguments as one line that every program of the C library takes apart into the same ones. */
std::wstring commandLine (const juce::StringArray& arguments);

/** Closes a handle of the system's. */
class OwnedHandle
{
public:
    explicit OwnedHandle (HANDLE handleToOwn = nullptr)
        : handle (handleToOwn == INVALID_HANDLE_VALUE ? nullptr : handleToOwn)
    {
    }

    OwnedHandle (OwnedHandle&& other) noexcept : handle (std::exchange (other.handle, nullptr)) {}
    ~OwnedHandle() { close(); }

    OwnedHandle& operator= (OwnedHandle&& other) noexcept
    {
        std::swap (handle, other.handle);
        return *this;
    }

    void close()
    {
        if (handle != nullptr)
            ::CloseHandle (std::exchange (handle, nullptr));
    }

    [[nodiscard]] HANDLE get() const { return handle; } // null: none
    [[nodiscard]] HANDLE release() { return std::exchange (handle, nullptr); }
    explicit operator bool() const { return handle != nullptr; }

private:
    HANDLE handle;
};

/** Whether an open file is a link to another one, and not merely one that the system keeps elsewhere. */
bool isLink (HANDLE file);

} // namespace tessivar::windows
