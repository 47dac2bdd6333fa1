#pragma once

#include "platform/LogFile.h"

#include <juce_core/juce_core.h>

#include <cstdint>
#include <mutex>
#include <optional>

namespace tessivar
{

/** The program's log: two files in one folder, the newer of which is written to and takes the other's place
    when it is full, so that both together never exceed maximumBytes. Lines begin with date and time in UTC.

    A folder that can't be written to makes the log silent, never an error: nobody loses work for a line of
    text. Lines may come from any thread but the audio callback's.
*/
class ProgramLog final : public juce::Logger
{
public:
    static constexpr std::uint64_t maximumBytes = 5'000'000;

    /** @param limit  bytes of both files together; smaller ones for tests */
    explicit ProgramLog (const juce::File& folder, std::uint64_t limit = maximumBytes);

    void logMessage (const juce::String& message) override;

    [[nodiscard]] juce::File currentFile() const { return folder.getChildFile ("tessivar.log"); }
    [[nodiscard]] juce::File previousFile() const { return folder.getChildFile ("tessivar.1.log"); }

    /** The last lines, oldest first, from both files where one does not have enough. */
    [[nodiscard]] juce::StringArray lastLines (int count) const;

    /** A crash of this process leaves a line with the signal and the call stack in the log and ends the
        process as it would have without. Once a process, at its start.
    */
    void noteCrashes();

private:
    void open();
    void rotate();
    void write (const juce::String& line);

    const juce::File folder;
    const std::uint64_t fileLimit;
    mutable std::mutex lock; // guards what follows
    std::optional<LogFile> file;
    bool notesCrashes = false;

    JUCE_DECLARE_NON_COPYABLE (ProgramLog)
};

} // namespace tessivar
