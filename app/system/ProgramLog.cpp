#include "app/system/ProgramLog.h"

#include "model/DiskNames.h"
#include "model/FileLock.h"
#include "model/ForeignText.h"

#include <array>
#include <csignal>
#include <cstring>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tessivar
{

namespace
{
constexpr mode_t ownerOnly = 0600;
constexpr int longestLine = 4000; // characters
constexpr int maximumFrames = 64;

// What a crash may touch: an open file and nothing that could have been broken with the rest.
volatile std::sig_atomic_t crashDescriptor = -1;

void writeText (int descriptor, const char* text)
{
    [[maybe_unused]] const auto ignored = ::write (descriptor, text, std::strlen (text));
}

extern "C" void noteCrash (int signal)
{
    if (const int descriptor = crashDescriptor; descriptor >= 0)
    {
        writeText (descriptor, "crashed: signal ");
        const char digits[] = { static_cast<char> ('0' + signal / 10),
                                static_cast<char> ('0' + signal % 10),
                                0 };
        writeText (descriptor, digits);
        writeText (descriptor, "\n");
        std::array<void*, maximumFrames> frames{};
        ::backtrace_symbols_fd (frames.data(), ::backtrace (frames.data(), maximumFrames), descriptor);
    }

    // The default action was put back when this handler was entered.
    ::raise (signal);
}
} // namespace

ProgramLog::ProgramLog (const juce::File& folderToUse, std::int64_t limit)
    : folder (folderToUse), fileLimit (limit / 2)
{
    const std::lock_guard guard (lock);
    open();
}

ProgramLog::~ProgramLog()
{
    if (crashDescriptor == descriptor)
        crashDescriptor = -1;

    if (descriptor >= 0)
        ::close (descriptor);
}

void ProgramLog::open()
{
    if (makeFolder (folder).failed())
        return;

    descriptor =
        ::open (bytesOfPath (currentFile()).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, ownerOnly);
    struct stat status = {};
    written = descriptor >= 0 && ::fstat (descriptor, &status) == 0 ? status.st_size : 0;
}

void ProgramLog::rotate()
{
    const auto isForCrashes = crashDescriptor == descriptor;
    crashDescriptor = -1;
    ::close (descriptor);
    descriptor = -1;

    if (::rename (bytesOfPath (currentFile()).c_str(), bytesOfPath (previousFile()).c_str()) != 0)
        currentFile().deleteFile();

    open();

    if (isForCrashes)
        crashDescriptor = descriptor;
}

void ProgramLog::write (const juce::String& line)
{
    const auto bytes = static_cast<std::int64_t> (line.getNumBytesAsUTF8());

    if (descriptor >= 0 && written + bytes > fileLimit)
        rotate();

    if (descriptor < 0)
        return;

    if (const auto result = ::write (descriptor, line.toRawUTF8(), static_cast<std::size_t> (bytes));
        result > 0)
        written += result;
}

void ProgramLog::logMessage (const juce::String& message)
{
    const auto now = juce::Time::getCurrentTime();
    const auto time = juce::Time (now.toMilliseconds() - now.getUTCOffsetSeconds() * 1000LL);
    const auto line =
        time.formatted ("%Y-%m-%dT%H:%M:%SZ ")
        + shownText (message).trimEnd().replaceCharacters ("\r\n", "  ").substring (0, longestLine) + "\n";
    const std::lock_guard guard (lock);
    write (line);
}

juce::StringArray ProgramLog::lastLines (int count) const
{
    const std::lock_guard guard (lock);
    auto lines = juce::StringArray::fromLines (previousFile().loadFileAsString());
    lines.addArray (juce::StringArray::fromLines (currentFile().loadFileAsString()));
    lines.removeEmptyStrings();

    if (lines.size() > count)
        lines.removeRange (0, lines.size() - count);

    return lines;
}

void ProgramLog::noteCrashes()
{
    const std::lock_guard guard (lock);
    crashDescriptor = descriptor;

    // The first call loads what it needs, which must not happen in a crash.
    std::array<void*, 1> frame{};
    [[maybe_unused]] const auto depth = ::backtrace (frame.data(), 1);

    struct sigaction action = {};
    action.sa_handler = noteCrash;
    action.sa_flags = static_cast<int> (SA_RESETHAND) | SA_NODEFER;
    sigemptyset (&action.sa_mask);

    for (const auto signal : { SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT })
        ::sigaction (signal, &action, nullptr);
}

} // namespace tessivar
