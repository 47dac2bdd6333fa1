#include "model/recovery/RecoveryList.h"

#include "model/groupfile/GroupFileLoading.h"
#include "model/recovery/RecoverySession.h"
#include "platform/AtomicFile.h"
#include "platform/FileStatus.h"
#include "platform/Folders.h"

#include <algorithm>
#include <functional>
#include <map>
#include <new>
#include <set>

namespace tessivar
{

namespace
{
using LockPtr = std::shared_ptr<const FileLock>;

/** Reads a whole entry; what comes back is the reason why not. */
juce::Result readEntry (const juce::File& file, RecoveryEntry& entry)
{
    FileStatus status;

    if (const auto error = readStatus (file, status, Links::keep); error.failed())
        return juce::Result::fail (error.text());

    if (! status.isFile())
        return juce::Result::fail ("no regular file");

    if (status.size > maxRecoveryEntrySize)
        return juce::Result::fail ("longer than any entry");

    try
    {
        juce::MemoryBlock content;

        if (! file.loadFileAsData (content))
            return juce::Result::fail ("can't be read");

        return decodeRecoveryEntry (
            { static_cast<const std::uint8_t*> (content.getData()), content.getSize() }, entry);
    }
    catch (const std::bad_alloc&)
    {
        return juce::Result::fail ("takes more memory than there is");
    }
}

/** Moves a file to bad/ beside it, under a name that is free. */
juce::File moveToBad (const juce::File& file)
{
    const auto folder = file.getSiblingFile (recoveryNames::badFolder);
    juce::ignoreUnused (makeFolder (folder));
    const auto target = folder.getChildFile (file.getFileName()).getNonexistentSibling();
    return FileSystemCalls::system().rename (file, target, false).failed() ? file : target;
}

/** Deletes what processes that are gone have left half written, and the locks of those that left no entry. */
void sweep (const juce::File& folder)
{
    sweepUnfinished (folder);

    for (const auto& lockFile :
         folder.findChildFiles (juce::File::findFiles, false, juce::String ("*") + recoveryNames::lockSuffix))
    {
        const auto entries =
            lockFile.getFileNameWithoutExtension() + "-*" + juce::String (recoveryNames::entrySuffix);

        if (const auto lock = FileLock::take (lockFile);
            lock && folder.getNumberOfChildFiles (juce::File::findFiles, entries) == 0)
            lockFile.deleteFile();
    }
}
} // namespace

RecoveryList RecoveryList::scan (const juce::File& folder)
{
    RecoveryList list;
    std::map<juce::File, LockPtr> locks;

    if (folder.isDirectory())
        sweep (folder);

    for (const auto& file : folder.findChildFiles (juce::File::findFilesAndDirectories,
                                                   false,
                                                   juce::String ("*") + recoveryNames::entrySuffix,
                                                   juce::File::FollowSymlinks::no))
    {
        const auto lockFile = recoveryNames::lockOf (file);

        if (! locks.contains (lockFile))
        {
            auto lock = FileLock::take (lockFile);
            locks[lockFile] = lock ? std::make_shared<const FileLock> (std::move (*lock)) : nullptr;
        }

        // Without the lock it belongs to a process that lives.
        if (locks[lockFile] != nullptr)
            list.add (file, locks[lockFile]);
    }

    std::ranges::stable_sort (
        list.found, std::greater(), [] (const RecoveryOffer& offer) { return offer.entry.writtenAt; });
    return list;
}

void RecoveryList::add (const juce::File& file, const LockPtr& lock)
{
    RecoveryOffer offer;

    if (const auto read = readEntry (file, offer.entry); read.failed())
    {
        problemTexts.add (moveToBad (file).getFullPathName() + ": " + read.getErrorMessage());
        return;
    }

    offer.file = file;
    offer.lock = lock;
    offer.wasSkipped = recoveryNames::skippedMarkOf (file).exists();
    found.push_back (std::move (offer));
}

bool RecoveryList::hasNews() const
{
    return std::ranges::any_of (found, [] (const RecoveryOffer& offer) { return ! offer.wasSkipped; });
}

juce::Result RecoveryList::recover (const RecoveryOffer& offer, RecoveredGroup& recovered)
{
    JUCE_ASSERT_MESSAGE_THREAD
    auto entry = offer.entry;
    juce::StringArray notes;
    LoadedGroup loaded;

    if (entry.groupFile != juce::File())
    {
        const auto now = FileIdentity::of (entry.groupFile);

        // Saving must not replace what somebody else has put there since.
        if (! now || ! entry.groupFileIdentity.isStillIn (*now))
            notes.add (entry.groupFile.getFullPathName() + (now ? " has been changed since." : " is gone.")
                       + " The Group has to be saved under a name of its own.");
        else if (const auto opened = openGroupFile (entry.groupFile, loaded); opened.failed())
            notes.add (opened.getErrorMessage());
        else if (loaded.file->isReadOnly())
            notes.add (loaded.file->why());
    }

    try
    {
        audio.attach (entry, loaded, notes);
    }
    catch (const std::bad_alloc&)
    {
        return juce::Result::fail (entry.state.name + ": takes more memory than there is");
    }

    const auto file = loaded.file != nullptr ? entry.groupFile : juce::File();
    recovered.group = new Group (std::move (entry.state), file, loaded.file);
    recovered.group->markUnsaved();
    recovered.notes = notes;
    recovered.entryFile = offer.file;
    recovered.lock = offer.lock;
    return juce::Result::ok();
}

juce::Result RecoveryList::skip (const RecoveryOffer& offer)
{
    const auto mark = recoveryNames::skippedMarkOf (offer.file);
    return mark.existsAsFile() ? juce::Result::ok() : mark.create();
}

juce::Result RecoveryList::discard (const RecoveryOffer& offer)
{
    if (const auto deleted = deleteRecoveryEntry (offer.file); deleted.failed())
        return deleted;

    std::set<juce::File> folders;

    for (const auto& track : offer.entry.audio)
        for (const auto& place : { track.source, track.rendered, track.components })
            if (place && TemporaryStore::isStoreFile (place->file))
                folders.insert (place->file.getParentDirectory().getParentDirectory());

    // They may lie elsewhere than what this run of the program sweeps.
    for (const auto& folder : folders)
        TemporaryStore::sweep (folder);

    return juce::Result::ok();
}

} // namespace tessivar
