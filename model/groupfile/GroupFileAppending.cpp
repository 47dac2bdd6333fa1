#include "model/groupfile/GroupFileAppending.h"

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

bool canAppend (const SaveRequest& request)
{
    const auto& file = request.currentFile;
    return file != nullptr && ! file->isReadOnly() && file->isStillAt (request.target) && file->isUnchanged();
}

juce::Result
appendToGroupFile (const SaveRequest& request, SavePlan& plan, SavedGroup& saved, const WorkControl& control)
{
    auto& file = *request.currentFile;
    auto& calls = request.calls != nullptr ? *request.calls : FileSystemCalls::system();
    const auto oldSize = file.sizeInBytes();
    const auto newSize = plan.fileSize();
    auto kind = plan.needsAudio() ? SaveKind::inPlace : SaveKind::tail;

    if (kind == SaveKind::tail && isAtEnd (file, plan.encodedTailAt (file.tailStart())))
    {
        saved = { plan.stateIn (request.currentFile), request.currentFile, kind, 0, {} };
        return juce::Result::ok();
    }

    FileAppender appender (file, calls);
    const auto giveUp = [&] (const juce::Result& reason)
    {
        const auto ofStream = appender.takeBack();
        return reason.getErrorMessage() == streamFailed || reason.wasOk() ? ofStream : reason;
    };

    const auto written = plan.write (appender,
                                     control,
                                     [&, done = std::uint64_t{}] (std::uint64_t count) mutable {
                                         control.progress (static_cast<double> (done += count)
                                                           / static_cast<double> (newSize - oldSize));
                                     });

    if (written.failed())
        return giveUp (written);

    const auto tail = plan.encodedTail();

    if (! appendTail (appender, tail))
        return giveUp (juce::Result::ok());

    appender.keep();
    file.setTail (plan.tailStart(), newSize);
    saved = {
        plan.stateIn (request.currentFile), request.currentFile, kind, newSize - oldSize, plan.notes()
    };
    control.progress (1.0);
    return juce::Result::ok();
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
