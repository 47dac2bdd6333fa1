#include "app/system/ProgramLog.h"

#include "model/ForeignText.h"
#include "platform/Folders.h"

namespace tessivar
{

namespace
{
constexpr int longestLine = 4000; // characters
} // namespace

ProgramLog::ProgramLog (const juce::File& folderToUse, std::uint64_t limit)
    : folder (folderToUse), fileLimit (limit / 2)
{
    const std::lock_guard guard (lock);
    open();
}

void ProgramLog::open()
{
    if (makeFolder (folder).failed())
        return;

    file.emplace (currentFile());

    if (notesCrashes)
        file->noteCrashes();
}

void ProgramLog::rotate()
{
    file.reset();

    if (FileSystemCalls::system().rename (currentFile(), previousFile(), true).failed())
        currentFile().deleteFile();

    open();
}

void ProgramLog::write (const juce::String& line)
{
    const std::string_view text (line.toRawUTF8(), line.getNumBytesAsUTF8());

    if (file && file->isOpen() && file->size() + text.size() > fileLimit)
        rotate();

    if (file && file->isOpen())
        file->append (text);
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
    notesCrashes = true;

    if (file)
        file->noteCrashes();
}

} // namespace tessivar
