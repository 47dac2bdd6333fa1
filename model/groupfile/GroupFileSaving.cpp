#include "model/groupfile/GroupFileSaving.h"

#include "model/groupfile/GroupFileAppending.h"
#include "model/groupfile/GroupFileAudio.h"
#include "model/groupfile/GroupFileVerification.h"
#include "platform/AtomicFile.h"
#include "platform/Folders.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

namespace tessivar
{

namespace
{
constexpr std::string_view head = "Tessivar group file. It is read from its end.\n";
static_assert (head.size() < SavePlan::headSize);

juce::Result failed (const juce::File& file, const juce::String& reason)
{
    return juce::Result::fail (file.getFullPathName() + ": " + reason);
}

FileSystemCalls& callsOf (const SaveRequest& request)
{
    return request.calls != nullptr ? *request.calls : FileSystemCalls::system();
}

/** Why no file of that size can be made in the target's folder, or so many bytes be added; empty when they can. */
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

juce::Result checkUnchanged (const SaveRequest& request)
{
    const auto isLost = ! request.replacesChanged && request.currentFile != nullptr
                        && request.currentFile->wasChangedAt (request.target);
    return isLost ? failed (request.target, "changed by another program since it was opened")
                  : juce::Result::ok();
}

juce::String reasonAgainstNewFile (const SaveRequest& request, std::uint64_t size)
{
    return reasonAgainstSize (request, size, size, request.spareBytes);
}

/** Reads a new file back that has not got its name yet. */
juce::Result checkNewFile (const juce::File& temporary,
                           const SavePlan& plan,
                           std::shared_ptr<GroupFile>& file,
                           const WorkControl& control)
{
    constexpr std::uint64_t readBackWhole = 256u << 20;
    const auto wrong = juce::Result::fail ("what was written can't be read back");

    if (const auto result = GroupFile::open (temporary, file); result.failed())
        return result;

    const auto tail = plan.encodedTail();
    std::vector<std::uint8_t> present (tail.size());
    FoundTail found;

    if (file->sizeInBytes() != plan.fileSize() || ! file->read (plan.tailStart(), present) || present != tail)
        return wrong;

    if (decodeGroupTail (*file, file->sizeInBytes(), found).failed() || ! found.isIntact())
        return wrong;

    file->setTail (found.start, found.end);

    if (file->sizeInBytes() > readBackWhole)
        return juce::Result::ok();

    GroupVerification verification;
    const auto result = verifyAudio (*file, found, verification, control);
    return result.failed() || verification.isIntact() ? result : wrong;
}

juce::Result
saveWhole (const SaveRequest& request, SavePlan& plan, SavedGroup& saved, const WorkControl& control)
{
    const auto size = plan.fileSize();

    if (const auto reason = reasonAgainstNewFile (request, size); reason.isNotEmpty())
        return failed (request.target, reason);

    AtomicFile atomic (request.target, callsOf (request));

    if (const auto result = atomic.open (size); result.failed())
        return result;

    constexpr auto shareOfWriting = 0.95;
    std::uint64_t done = 0;
    const auto progress = [&] (std::uint64_t count)
    { control.progress (shareOfWriting * static_cast<double> (done += count) / static_cast<double> (size)); };

    atomic.write (head.data(), head.size());
    atomic.writeRepeatedByte (0, SavePlan::headSize - head.size());

    if (const auto result = plan.write (atomic, control, progress); result.failed())
        return result.getErrorMessage() == streamFailed ? atomic.status() : result;

    const auto tail = plan.encodedTail();
    atomic.write (tail.data(), tail.size());

    if (const auto result = atomic.finish(); result.failed())
        return result;

    std::shared_ptr<GroupFile> file;
    const WorkControl onlyStop{ control.shouldStop, {} };

    if (const auto result = checkNewFile (atomic.temporaryFile(), plan, file, onlyStop); result.failed())
        return result.getErrorMessage() == stoppedByUser ? result
                                                         : failed (request.target, result.getErrorMessage());

    if (control.stopRequested())
        return juce::Result::fail (stoppedByUser);

    // Writing has taken its time.
    if (const auto unchanged = checkUnchanged (request); unchanged.failed())
        return unchanged;

    if (const auto result = atomic.commit(); result.failed())
        return result;

    file->setPath (atomic.targetFile());
    saved = { plan.stateIn (file), file, SaveKind::whole, size, plan.notes() };
    control.progress (1.0);
    return juce::Result::ok();
}

/** Whether another program put something into the file that may be needed by it, wherever it lies. */
bool holdsForeignTracks (const GroupState& state)
{
    return std::any_of (state.tracks.begin(),
                        state.tracks.end(),
                        [] (const TrackState& track)
                        { return track.unknownProperties.containsKey (tailKey::foreignRecord); });
}

/** Whether so much of a file is not needed any more that it is worth writing anew. */
bool hasMuchSlack (const SaveRequest& request, const SavePlan& plan)
{
    constexpr std::uint64_t always = 1u << 20;
    constexpr std::uint64_t onePercent = 100;
    const auto present = std::min (request.currentFile->bytesOnDisk(), request.currentFile->sizeInBytes());
    const auto needed = plan.bytesInUse();
    return ! holdsForeignTracks (request.state) && present > needed
           && present - needed > std::max (always, needed / onePercent);
}

juce::Result
append (const SaveRequest& request, SavePlan& plan, SavedGroup& saved, const WorkControl& control)
{
    const auto size = plan.fileSize();

    if (const auto reason = reasonAgainstSize (request, size, size - request.currentFile->sizeInBytes(), 0);
        reason.isNotEmpty())
        return failed (request.target, reason);

    SavedGroup result;

    if (const auto appended = appendToGroupFile (request, plan, result, control); appended.failed())
        return appended;

    if (result.kind == SaveKind::inPlace && ! holdsForeignTracks (request.state))
        if (const auto given = giveBackRoom (*request.currentFile, plan, callsOf (request)); given.failed())
            result.notes.add (given.getErrorMessage());

    saved = std::move (result);
    return juce::Result::ok();
}
} // namespace

SaveQuestion questionBeforeSaving (const SaveRequest& request)
{
    if (const auto unchanged = checkUnchanged (request); unchanged.failed())
        return { SaveQuestion::About::changedFile, unchanged.getErrorMessage() };

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

juce::Result saveGroup (const SaveRequest& request, SavedGroup& saved, const WorkControl& control)
{
    if (control.stopRequested())
        return juce::Result::fail (stoppedByUser);

    if (const auto unchanged = checkUnchanged (request); unchanged.failed())
        return unchanged;

    OpenFile lock;

    if (const auto result = lockGroupTarget (request.target, request.currentFile.get(), lock);
        result.failed())
        return result;

    SavePlan whole (request.state, nullptr);

    if (whole.problem().isNotEmpty())
        return failed (request.target, whole.problem());

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
