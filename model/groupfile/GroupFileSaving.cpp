#include "model/groupfile/GroupFileSaving.h"

#include "model/Outcomes.h"
#include "model/groupfile/GroupFileAppending.h"
#include "model/groupfile/GroupFileAudio.h"
#include "model/groupfile/GroupFileVerification.h"
#include "platform/AtomicFile.h"
#include "platform/Folders.h"

#include <algorithm>
#include <optional>
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
    return std::any_of (state.tracks.begin(),
                        state.tracks.end(),
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
