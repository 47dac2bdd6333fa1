#pragma once

#include "platform/FileSystemCalls.h"

#include <string_view>

namespace tessivar
{

/** A file that lines are added to at its end, made for the user alone. */
class LogFile
{
public:
    /** Silent when the file can't be opened. */
    explicit LogFile (const juce::File& path);
    ~LogFile();

    [[nodiscard]] bool isOpen() const { return file.isOpen(); }

    /** Bytes, with what is not on disk yet. */
    [[nodiscard]] std::uint64_t size() const { return numBytes; }

    void append (std::string_view text);

    /** From now on a crash of this process leaves a line with its kind and the call stack here and then ends
        the process as it would have without. For one file at a time, as long as it is open.
    */
    void noteCrashes();

private:
    OpenFile file;
    std::uint64_t numBytes = 0;
};

} // namespace tessivar
