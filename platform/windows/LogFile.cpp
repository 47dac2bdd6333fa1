#include "platform/LogFile.h"

#include "platform/windows/SystemCall.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstring>

namespace tessivar
{

namespace
{
constexpr int maximumFrames = 64;

// What a crash may touch: an open file and nothing that could have been broken with the rest.
std::atomic<HANDLE> crashFile{ nullptr };

struct
{
    std::uintptr_t begin = 0, end = 0;
} program; // where it lies in memory

void writeText (const char* text, std::size_t length)
{
    DWORD ignored = 0;
    ::WriteFile (crashFile.load(), text, static_cast<DWORD> (length), &ignored, nullptr);
}

/** A line with text in front of a number in hexadecimal digits. */
void writeLine (const char* text, std::uint64_t number)
{
    std::array<char, 17> line{};
    auto at = line.size();
    line[--at] = '\n';

    do
    {
        line[--at] = "0123456789abcdef"[number & 15];
        number >>= 4;
    } while (number != 0);

    writeText (text, std::strlen (text));
    writeText (&line[at], line.size() - at);
}

/** Addresses of the calls from a place on, in the program itself as the linker's map tells them. */
void writeCalls (CONTEXT context)
{
    for (int frame = 0; frame < maximumFrames && context.Rip != 0; ++frame)
    {
        const auto isOwn = context.Rip >= program.begin && context.Rip < program.end;
        writeLine (isOwn ? "  program + " : "  ", context.Rip - (isOwn ? program.begin : 0));
        DWORD64 base = 0, establisher = 0;
        void* handlerData = nullptr;

        if (auto* const function = ::RtlLookupFunctionEntry (context.Rip, &base, nullptr))
        {
            ::RtlVirtualUnwind (UNW_FLAG_NHANDLER,
                                base,
                                context.Rip,
                                function,
                                &context,
                                &handlerData,
                                &establisher,
                                nullptr);
            continue;
        }

        // A function that calls none: its return address is all that it has on the stack.
        if (context.Rsp == 0)
            return;

        context.Rip = *reinterpret_cast<const DWORD64*> (context.Rsp); // NOLINT(performance-no-int-to-ptr)
        context.Rsp += sizeof (DWORD64);
    }
}

LONG WINAPI noteCrash (EXCEPTION_POINTERS* what)
{
    if (crashFile.load() != nullptr)
    {
        writeLine ("crashed: exception ", what->ExceptionRecord->ExceptionCode);
        writeCalls (*what->ContextRecord);
        crashFile = nullptr; // once
    }

    return EXCEPTION_CONTINUE_SEARCH;
}

extern "C" void noteAbort (int)
{
    if (crashFile.load() != nullptr)
    {
        constexpr char line[] = "crashed: aborted\n";
        writeText (line, sizeof (line) - 1);
        CONTEXT context = {};
        ::RtlCaptureContext (&context);
        writeCalls (context);
        crashFile = nullptr;
    }

    // The default action was put back when this handler was entered.
    std::raise (SIGABRT);
}
} // namespace

LogFile::~LogFile()
{
    if (file.isOpen() && crashFile == windows::systemHandle (file.handle()))
        crashFile = nullptr;
}

void LogFile::noteCrashes()
{
    const auto* const image = reinterpret_cast<const std::uint8_t*> (::GetModuleHandleW (nullptr));
    const auto* const header = reinterpret_cast<const IMAGE_NT_HEADERS*> (
        image + reinterpret_cast<const IMAGE_DOS_HEADER*> (image)->e_lfanew);
    program.begin = reinterpret_cast<std::uintptr_t> (image);
    program.end = program.begin + header->OptionalHeader.SizeOfImage;
    crashFile = windows::systemHandle (file.handle());

    ULONG roomAfterOverflow = 65536; // bytes of the stack that this takes
    ::SetThreadStackGuarantee (&roomAfterOverflow);
    ::SetUnhandledExceptionFilter (noteCrash);
    std::signal (SIGABRT, noteAbort);
}

} // namespace tessivar
