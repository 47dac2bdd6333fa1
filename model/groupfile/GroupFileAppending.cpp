#include "model/groupfile/GroupFileAppending.h"

#include "model/Outcomes.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tessivar
{

namespace
{
/** Writes behind the end of an open file. Until keep() is called, everything is taken back at the end. */
class FileAppender final : public juce::OutputStream
{
public:
    FileAppender (GroupFile& fileToExtend, FileSystemCalls& callsToUse)
        : calls (callsToUse), file (fileToExtend), start (fileToExtend.sizeInBytes()), position (start)
    {
    }

    ~FileAppender() override { takeBack(); }

    bool write (const void* data, std::size_t numBytes) override
    {
        if (result.failed())
            return false;

        const auto [error, count] = calls.writeAll (file.handle(), position, data, numBytes);
        position += count;
        check (error);
        return result.wasOk();
    }

    /** Waits until all that was written is on disk. */
    [[nodiscard]] bool sync()
    {
        if (result.wasOk())
            check (calls.flush (file.handle()));

        return result.wasOk();
    }

    /** Cuts the file back to what it was; the result of the whole then. */
    juce::Result takeBack()
    {
        if (std::exchange (isSettled, true) || position == start)
            return result;

        // What was appended is no whole tail: opening the file finds the one before it.
        if (const auto error = calls.setSize (file.handle(), start); error.failed())
            result = juce::Result::fail (result.getErrorMessage()
                                         + "; what was written stays at its end: " + error.text());

        file.noteContent();
        return result;
    }

    void keep() { isSettled = true; }

    [[nodiscard]] const juce::Result& status() const { return result; }

    void flush() override {}
    bool setPosition (juce::int64) override { return false; }
    juce::int64 getPosition() override { return static_cast<juce::int64> (position); }

private:
    void check (const SystemError& error)
    {
        if (error.failed())
            result =
                juce::Result::fail (file.path().getFullPathName() + " can't be written: " + error.text());
    }

    FileSystemCalls& calls;
    GroupFile& file;
    const std::uint64_t start;
    std::uint64_t position;
    juce::Result result = juce::Result::ok();
    bool isSettled = false;

    JUCE_DECLARE_NON_COPYABLE (FileAppender)
};

/** Whether a tail stands at the end of the file already. */
bool isAtEnd (GroupFile& file, const std::vector<std::uint8_t>& tail)
{
    const auto size = file.sizeInBytes();

    if (file.tailStart() == 0 || size - file.tailStart() != tail.size())
        return false;

    std::vector<std::uint8_t> present (tail.size());
    return file.read (file.tailStart(), present) && present == tail;
}

bool appendTail (FileAppender& appender, const std::vector<std::uint8_t>& tail)
{
    const auto withoutTrailer = tail.size() - GroupFileTrailer::encodedSize;
    return appender.write (tail.data(), withoutTrailer) && appender.sync()
           && appender.write (tail.data() + withoutTrailer, GroupFileTrailer::encodedSize) && appender.sync();
}
} // namespace

Outcome
appendToGroupFile (GroupFile& file, SavePlan& plan, FileSystemCalls& calls, const WorkControl& control)
{
    const auto oldSize = file.sizeInBytes();
    const auto newSize = plan.fileSize();

    if (! plan.needsAudio() && isAtEnd (file, plan.encodedTailAt (file.tailStart())))
        return Outcome::ok();

    FileAppender appender (file, calls);
    const auto written = plan.write (appender,
                                     control,
                                     [&, done = std::uint64_t{}] (std::uint64_t count) mutable {
                                         control.progress (static_cast<double> (done += count)
                                                           / static_cast<double> (newSize - oldSize));
                                     });

    if (! written.isOk() && appender.status().wasOk())
        return appender.takeBack(), written;

    if (! written.isOk() || ! appendTail (appender, plan.encodedTail()))
        return outcomeOf (appender.takeBack());

    appender.keep();
    file.setTail (plan.tailStart(), newSize);
    control.progress (1.0);
    return Outcome::ok();
}

juce::Result giveBackRoom (GroupFile& file, const SavePlan& plan, FileSystemCalls& calls)
{
    auto kept = plan.rangesInUse();
    const auto inUse = file.rangesInUse();
    kept.insert (kept.end(), inUse.begin(), inUse.end());
    kept.push_back ({ 0, SavePlan::headSize });
    kept.push_back ({ plan.tailStart(), file.sizeInBytes() - plan.tailStart() });
    std::sort (kept.begin(), kept.end(), [] (const auto& a, const auto& b) { return a.offset < b.offset; });
    std::uint64_t free = 0;
    auto result = juce::Result::ok();

    for (const auto& range : kept)
    {
        if (range.size == 0)
            continue;

        if (range.offset > free)
            if (const auto error = calls.giveBack (file.handle(), free, range.offset - free); error.failed())
            {
                result =
                    juce::Result::fail (file.path().getFileName()
                                        + ": the room of older audio can't be given back: " + error.text());
                break;
            }

        free = std::max (free, range.offset + range.size);
    }

    file.noteContent();
    return result;
}

} // namespace tessivar
