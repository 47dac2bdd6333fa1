#include "model/groupfile/GroupFileSaving.h"

#include "model/Outcomes.h"
#include "model/groupfile/GroupFileAudio.h"
#include "model/groupfile/GroupFileVerification.h"
#include "platform/AtomicFile.h"
#include "platform/Folders.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::string_view head = "Tessivar group file. It is read from its end.\n";
static_assert (head.size() < SavePlan::headSize);

std::string reasonFor (const juce::File& file, const juce::String& reason)
{
    return (file.getFullPathName() + ": " + reason).toStdString();
}

FileSystemCalls& callsOf (const SaveRequest& request)
{
    return request.calls != nullptr ? *request.calls : FileSystemCalls::system();
}

/** Why the target's folder can't hold a file of that size, or that many more bytes; empty when it can. */
juce::String reasonAgainstSize (const SaveRequest& request,
                                std::uint64_t size,
                                std::uint64_t bytesToAdd,
                                std::uint64_t spare)
{
    const auto folder = request.target.getParentDirectory();

    if (const auto limit = largestFileIn (folder); limit && size > *limit)
        return "the file system takes no file of more than " + juce::String (*limit) + " bytes; "
               + juce::String (size) + " bytes needed";

    const auto free = freeBytesOf (folder);

    if (free && (*free < bytesToAdd || *free - bytesToAdd < spare))
        return "not enough room: " + juce::String (bytesToAdd + spare) + " bytes needed, "
               + juce::String (*free) + " bytes free";

    return {};
}

Outcome checkUnchanged (const SaveRequest& request)
{
    const auto isLost = ! request.replacesChanged && request.currentFile != nullptr
                        && request.currentFile->wasChangedAt (request.target);
    return isLost ? Outcome::refused (
               reasonFor (request.target, "changed by another program since it was opened"))
                  : Outcome::ok();
}

/** Whether the Group's file may be saved to by appending to it. */
bool canAppend (const SaveRequest& request)
{
    const auto& file = request.currentFile;
    return file != nullptr && ! file->isReadOnly() && file->isStillAt (request.target) && file->isUnchanged();
}

juce::String reasonAgainstNewFile (const SaveRequest& request, std::uint64_t size)
{
    return reasonAgainstSize (request, size, size, request.spareBytes);
}

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

/** Appends the audio of a plan for this file and the new tail; does nothing when that tail is there already.
    The trailer is written once all else is on disk, so the last tail is whole at any moment. On failure the
    file is cut back to its old size.
*/
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

/** Frees the parts of a saved file that neither it nor samples in use need any longer, older tails included:
    what they describe is gone. A failure loses nothing; it says why the file stays as large.
*/
juce::Result giveBackRoom (GroupFile& file, const SavePlan& plan, FileSystemCalls& calls)
{
    auto kept = plan.rangesInUse();
    const auto inUse = file.rangesInUse();
    kept.insert (kept.end(), inUse.begin(), inUse.end());
    kept.push_back ({ 0, SavePlan::headSize });
    kept.push_back ({ plan.tailStart(), file.sizeInBytes() - plan.tailStart() });
    std::ranges::sort (kept, {}, &AudioRange::offset);
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

/** Reads back a new file before it gets its name. */
Outcome checkNewFile (const AtomicFile& written,
                      const SavePlan& plan,
                      std::shared_ptr<GroupFile>& file,
                      const WorkControl& control)
{
    constexpr std::uint64_t readBackWhole = 256u << 20;
    const auto wrong =
        Outcome::failed (reasonFor (written.targetFile(), "what was written can't be read back"));

    if (const auto opened = GroupFile::open (written.temporaryFile(), file); opened.failed())
        return Outcome::failed (reasonFor (written.targetFile(), opened.getErrorMessage()));

    const auto tail = plan.encodedTail();
    std::vector<std::uint8_t> present (tail.size());
    FoundTail found;

    if (file->sizeInBytes() != plan.fileSize() || ! file->read (plan.tailStart(), present) || present != tail)
        return wrong;

    if (decodeGroupTail (*file, file->sizeInBytes(), found).failed() || ! found.isIntact())
        return wrong;

    file->setTail (found.start, found.end);

    if (file->sizeInBytes() > readBackWhole)
        return Outcome::ok();

    GroupVerification verification;
    auto verified = verifyAudio (*file, found, verification, control);
    return ! verified.isOk() || verification.isIntact() ? verified : wrong;
}

Outcome saveWhole (const SaveRequest& request, SavePlan& plan, SavedGroup& saved, const WorkControl& control)
{
    const auto size = plan.fileSize();

    if (const auto reason = reasonAgainstNewFile (request, size); reason.isNotEmpty())
        return Outcome::noRoom (reasonFor (request.target, reason));

    AtomicFile atomic (request.target, callsOf (request));

    if (const auto result = atomic.open (size); result.failed())
        return outcomeOf (result);

    constexpr auto shareOfWriting = 0.95;
    std::uint64_t done = 0;
    const auto progress = [&] (std::uint64_t count)
    { control.progress (shareOfWriting * static_cast<double> (done += count) / static_cast<double> (size)); };

    atomic.write (head.data(), head.size());
    atomic.writeRepeatedByte (0, SavePlan::headSize - head.size());

    if (const auto written = plan.write (atomic, control, progress); ! written.isOk())
        return atomic.status().failed() ? outcomeOf (atomic.status()) : written;

    const auto tail = plan.encodedTail();
    atomic.write (tail.data(), tail.size());

    if (const auto result = atomic.finish(); result.failed())
        return outcomeOf (result);

    std::shared_ptr<GroupFile> file;
    const WorkControl onlyStop{ control.shouldStop, {} };

    if (const auto checked = checkNewFile (atomic, plan, file, onlyStop); ! checked.isOk())
        return checked;

    if (control.stopRequested())
        return Outcome::stopped();

    // Writing has taken its time.
    if (const auto unchanged = checkUnchanged (request); ! unchanged.isOk())
        return unchanged;

    if (const auto result = atomic.commit(); result.failed())
        return outcomeOf (result);

    file->setPath (atomic.targetFile());
    saved = { plan.stateIn (file), file, SaveKind::whole, size, plan.notes() };
    control.progress (1.0);
    return Outcome::ok();
}

/** Whether another program put something into the file that may be needed by it, wherever it lies. */
bool holdsForeignTracks (const GroupState& state)
{
    return std::ranges::any_of (state.tracks,
                                [] (const TrackState& track)
                                { return track.unknownProperties.containsKey (tailKey::foreignRecord); });
}

/** Whether so much of a file is no longer needed that it pays to write it anew. */
bool hasMuchSlack (const SaveRequest& request, const SavePlan& plan)
{
    constexpr std::uint64_t always = 1u << 20;
    constexpr std::uint64_t onePercent = 100;
    const auto present = std::min (request.currentFile->bytesOnDisk(), request.currentFile->sizeInBytes());
    const auto needed = plan.bytesInUse();
    return ! holdsForeignTracks (request.state) && present > needed
           && present - needed > std::max (always, needed / onePercent);
}

Outcome append (const SaveRequest& request, SavePlan& plan, SavedGroup& saved, const WorkControl& control)
{
    const auto size = plan.fileSize();

    if (const auto reason = reasonAgainstSize (request, size, size - request.currentFile->sizeInBytes(), 0);
        reason.isNotEmpty())
        return Outcome::noRoom (reasonFor (request.target, reason));

    auto& file = *request.currentFile;
    const auto oldSize = file.sizeInBytes();

    if (const auto appended = appendToGroupFile (file, plan, callsOf (request), control); ! appended.isOk())
        return appended;

    saved = { plan.stateIn (request.currentFile),
              request.currentFile,
              plan.needsAudio() ? SaveKind::inPlace : SaveKind::tail,
              file.sizeInBytes() - oldSize,
              plan.notes() };

    if (plan.needsAudio() && ! holdsForeignTracks (request.state))
        if (const auto given = giveBackRoom (file, plan, callsOf (request)); given.failed())
            saved.notes.add (given.getErrorMessage());

    return Outcome::ok();
}
} // namespace

SaveQuestion questionBeforeSaving (const SaveRequest& request)
{
    if (const auto unchanged = checkUnchanged (request); ! unchanged.isOk())
        return { SaveQuestion::About::changedFile, unchanged.reason };

    if (request.savingDiskSpace || request.compact || ! canAppend (request))
        return {};

    const SavePlan whole (request.state, nullptr), appended (request.state, request.currentFile.get());
    const auto noRoom = reasonAgainstNewFile (request, whole.fileSize());
    const auto added = appended.fileSize() - request.currentFile->sizeInBytes();

    if (! appended.needsAudio() || noRoom.isEmpty()
        || reasonAgainstSize (request, appended.fileSize(), added, 0).isNotEmpty())
        return {};

    return { SaveQuestion::About::inPlace, request.target.getFullPathName() + ": " + noRoom };
}

Outcome saveGroup (const SaveRequest& request, SavedGroup& saved, const WorkControl& control)
{
    if (control.stopRequested())
        return Outcome::stopped();

    if (const auto unchanged = checkUnchanged (request); ! unchanged.isOk())
        return unchanged;

    OpenFile lock;

    if (const auto taken = lockGroupTarget (request.target, request.currentFile.get(), lock); taken.failed())
        return Outcome::refused (taken.getErrorMessage().toStdString());

    SavePlan whole (request.state, nullptr);

    if (whole.problem().isNotEmpty())
        return Outcome::refused (reasonFor (request.target, whole.problem()));

    if (request.compact || ! canAppend (request))
        return saveWhole (request, whole, saved, control);

    SavePlan appended (request.state, request.currentFile.get());
    const auto wholeFits = reasonAgainstNewFile (request, whole.fileSize()).isEmpty();
    const auto isWhole = appended.needsAudio() ? wholeFits || ! request.savingDiskSpace
                                               : wholeFits && hasMuchSlack (request, appended);

    if (isWhole)
        return saveWhole (request, whole, saved, control);

    return append (request, appended, saved, control);
}

} // namespace tessivar
