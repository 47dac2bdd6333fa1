#include "platform/Process.h"

#include "platform/ProcessOutput.h"
#include "platform/windows/SystemCall.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>
#include <winternl.h>

namespace tessivar
{

using windows::OwnedHandle;

namespace
{
juce::String moduleFile (HMODULE module)
{
    std::wstring path (MAX_PATH, 0);

    // What doesn't fit is cut.
    while (::GetModuleFileNameW (module, path.data(), static_cast<DWORD> (path.size())) >= path.size())
        path.resize (path.size() * 2);

    return windows::textOfWide (path.c_str());
}

/** Starts a program that has one end of a pipe for its output, and no other handle of this process. */
OwnedHandle start (const juce::StringArray& arguments, HANDLE output)
{
    SIZE_T size = 0;
    ::InitializeProcThreadAttributeList (nullptr, 1, 0, &size);
    std::vector<std::uint8_t> memory (size);
    auto* const list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST> (memory.data());

    if (! ::InitializeProcThreadAttributeList (list, 1, 0, &size))
        return OwnedHandle();

    STARTUPINFOEXW info = {};
    info.StartupInfo.cb = sizeof (info);
    info.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    info.StartupInfo.hStdOutput = output;
    info.lpAttributeList = list;
    PROCESS_INFORMATION process = {};
    auto line = windows::commandLine (arguments);
    const auto isStarted =
        ::UpdateProcThreadAttribute (
            list, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, &output, sizeof (output), nullptr, nullptr)
        && ::CreateProcessW (nullptr,
                             line.data(),
                             nullptr,
                             nullptr,
                             TRUE,
                             EXTENDED_STARTUPINFO_PRESENT | CREATE_NO_WINDOW,
                             nullptr,
                             nullptr,
                             &info.StartupInfo,
                             &process);
    ::DeleteProcThreadAttributeList (list);
    const OwnedHandle thread (process.hThread);
    return OwnedHandle (isStarted ? process.hProcess : nullptr);
}
} // namespace

int processId()
{
    return static_cast<int> (::GetCurrentProcessId());
}

bool isProcessAlive (int id)
{
    const OwnedHandle process (::OpenProcess (SYNCHRONIZE, FALSE, static_cast<DWORD> (id)));

    // One of somebody else's may not be opened.
    return process ? ::WaitForSingleObject (process.get(), 0) == WAIT_TIMEOUT
                   : ::GetLastError() == ERROR_ACCESS_DENIED;
}

juce::String currentBoot()
{
    struct TimeOfDay
    {
        LARGE_INTEGER bootTime, currentTime, timeZoneBias;
        ULONG timeZoneId, reserved;
        ULONGLONG bootTimeBias, sleepTimeBias;
    };
    TimeOfDay time = {};

    // Whoever sets the clock moves the time of the start as well, and the bias tells by how much.
    return ::NtQuerySystemInformation (SystemTimeOfDayInformation, &time, sizeof (time), nullptr) == 0
               ? juce::String (time.bootTime.QuadPart - static_cast<LONGLONG> (time.bootTimeBias))
               : juce::String();
}

juce::File programFile()
{
    return juce::File (moduleFile (nullptr));
}

juce::String environmentVariable (const char* name)
{
    const auto wide = windows::wideText (name);
    std::wstring value (::GetEnvironmentVariableW (wide.c_str(), nullptr, 0), 0);
    value.resize (::GetEnvironmentVariableW (wide.c_str(), value.data(), static_cast<DWORD> (value.size())));
    return windows::textOfWide (value);
}

bool standardErrorIsTerminal()
{
    DWORD mode = 0;
    return ::GetConsoleMode (::GetStdHandle (STD_ERROR_HANDLE), &mode) != 0;
}

std::vector<std::string> programArguments (int, const char* const*)
{
    // Those of main() have lost what the system's language has no letter for.
    int count = 0;
    auto** const arguments = ::CommandLineToArgvW (::GetCommandLineW(), &count);
    std::vector<std::string> bytes;

    for (int i = 1; i < count; ++i)
        bytes.push_back (bytesOfPath (windows::textOfWide (arguments[i])));

    ::LocalFree (arguments);
    return bytes;
}

juce::StringArray namesOfPattern (const juce::String& argument)
{
    const auto file = fileOfArgument (argument);
    const auto pattern = file.getFileName();
    juce::StringArray names;

    // None of the two can be in a name.
    if (pattern.containsAnyOf ("*?"))
        for (const auto& entry : file.getParentDirectory().findChildFiles (
                 juce::File::findFilesAndDirectories | juce::File::ignoreHiddenFiles, false))
            if (entry.getFileName().matchesWildcard (pattern, true))
                names.add (entry.getFullPathName());

    names.sortNatural();
    return names.isEmpty() ? juce::StringArray (argument) : names;
}

void prepareOutput()
{
    // A program with a window has no streams of its own; it takes those of the terminal that it came from.
    if (::GetStdHandle (STD_OUTPUT_HANDLE) == nullptr && ::AttachConsole (ATTACH_PARENT_PROCESS))
        for (auto* const stream : { stdout, stderr })
            std::freopen ("CONOUT$", "w", stream);

    for (auto* const stream : { stdin, stdout, stderr })
        if (const auto number = ::_fileno (stream); number >= 0)
            ::_setmode (number, _O_BINARY);

    // The terminal goes back to what it was for the next program.
    static const auto before = ::GetConsoleOutputCP();

    if (before != 0 && ::SetConsoleOutputCP (CP_UTF8))
        std::atexit ([] { ::SetConsoleOutputCP (before); });

    // What a drive without a disk would ask the user about fails.
    ::SetErrorMode (SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
}

std::optional<std::string> outputOfProgram (const juce::StringArray& arguments,
                                            const std::function<bool()>& keepWaiting)
{
    SECURITY_ATTRIBUTES inherited = { sizeof (inherited), nullptr, TRUE };
    HANDLE ends[2] = {};

    if (! ::CreatePipe (&ends[0], &ends[1], &inherited, 0))
        return std::nullopt;

    const OwnedHandle readEnd (ends[0]);
    OwnedHandle writeEnd (ends[1]);
    ::SetHandleInformation (readEnd.get(), HANDLE_FLAG_INHERIT, 0);
    const auto process = start (arguments, writeEnd.get());
    writeEnd.close();

    if (! process)
        return std::nullopt;

    auto output = readToEnd (
        [&] (std::span<char> piece)
        {
            DWORD count = 0;
            const auto isRead =
                ::ReadFile (readEnd.get(), piece.data(), static_cast<DWORD> (piece.size()), &count, nullptr);
            return isRead ? std::size_t{ count } : 0;
        },
        [&] { ::TerminateProcess (process.get(), 1); },
        keepWaiting);
    ::WaitForSingleObject (process.get(), longestExit);
    DWORD code = 1;
    ::GetExitCodeProcess (process.get(), &code);
    return code == 0 ? output : std::nullopt;
}

juce::String libraryHolding (const void* function)
{
    HMODULE module = nullptr;
    return ::GetModuleHandleExW (GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS
                                     | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                 static_cast<const wchar_t*> (function),
                                 &module)
               ? moduleFile (module)
               : juce::String();
}

juce::StringArray listeningSockets()
{
    return {};
}

} // namespace tessivar
