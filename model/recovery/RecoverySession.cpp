#include "model/recovery/RecoverySession.h"

#include "model/TemporaryStore.h"
#include "platform/AtomicFile.h"
#include "platform/Folders.h"
#include "platform/Process.h"

#include <utility>

namespace tessivar
{

juce::File recoveryNames::lockOf (const juce::File& entry)
{
    return entry.getSiblingFile (entry.getFileName().upToLastOccurrenceOf ("-", false, false) + lockSuffix);
}

juce::File recoveryNames::skippedMarkOf (const juce::File& entry)
{
    return entry.withFileExtension (skippedSuffix);
}

juce::Result deleteRecoveryEntry (const juce::File& entry, FileSystemCalls& calls)
{
    if (const auto error = calls.remove (entry);
        error.failed() && error.kind() != SystemError::Kind::notFound)
        return juce::Result::fail (entry.getFullPathName() + " can't be deleted: " + error.text());

    calls.remove (recoveryNames::skippedMarkOf (entry));
    return juce::Result::ok();
}

juce::Result RecoverySession::open (const juce::File& folder,
                                    std::shared_ptr<RecoverySession>& session,
                                    FileSystemCalls& calls)
{
    if (const auto made = makeFolder (folder); made.failed())
        return juce::Result::fail ("recovery folder " + folder.getFullPathName() + ": "
                                   + made.getErrorMessage());

    // Names of Groups and files are nobody else's business; a folder that refuses is another user's anyway.
    makePrivate (folder);
    SystemError error;

    for (int attempt = 0; attempt < 16; ++attempt)
    {
        const auto name = uniqueTag();
        const auto lockFile = folder.getChildFile (name + recoveryNames::lockSuffix);

        if (lockFile.exists())
            continue;

        if (auto taken = FileLock::take (lockFile, error))
        {
            session.reset (new RecoverySession (calls, folder, name, std::move (*taken)));
            return juce::Result::ok();
        }

        if (error.kind() != SystemError::Kind::inUse)
            break;
    }

    return juce::Result::fail ("recovery folder " + folder.getFullPathName() + ": " + error.text());
}

RecoverySession::RecoverySession (FileSystemCalls& callsToUse,
                                  const juce::File& folderToUse,
                                  const juce::String& nameToUse,
                                  FileLock lockToOwn)
    : calls (callsToUse), folder (folderToUse), name (nameToUse), lock (std::move (lockToOwn))
{
}

RecoverySession::~RecoverySession()
{
    const auto pattern = name + "-*" + recoveryNames::entrySuffix;

    if (folder.getNumberOfChildFiles (juce::File::findFiles, pattern) == 0)
        folder.getChildFile (name + recoveryNames::lockSuffix).deleteFile();
}

juce::File RecoverySession::entryFile (std::uint32_t groupId) const
{
    return folder.getChildFile (name + "-" + juce::String (groupId) + recoveryNames::entrySuffix);
}

juce::Result RecoverySession::write (std::uint32_t groupId, const RecoveryEntry& entry)
{
    const auto file = entryFile (groupId);
    auto noted = juce::Result::ok();

    for (const auto& track : entry.audio)
    {
        for (const auto* place : { &track.source, &track.rendered, &track.components })
        {
            if (! *place || ! TemporaryStore::isStoreFile ((*place)->file))
                continue;

            const auto storeFolder = (*place)->file.getParentDirectory();
            const std::lock_guard guard (notesLock);

            if (notedFolders[groupId].contains (storeFolder.getFullPathName()))
                continue;

            // A Group without its audio is still better than none: the entry is written in any case.
            if (const auto kept = TemporaryStore::keepWhileExists (storeFolder, file, calls); kept.wasOk())
                notedFolders[groupId].insert (storeFolder.getFullPathName());
            else
                noted = kept;
        }
    }

    const auto bytes = encodeRecoveryEntry (entry);

    // What could not be read back must not take the place of an entry that can.
    if (RecoveryEntry readBack; decodeRecoveryEntry (bytes, readBack).failed())
        return juce::Result::fail (entry.state.name + " can't be noted for recovery");

    const auto written =
        replaceFile (file, { reinterpret_cast<const char*> (bytes.data()), bytes.size() }, calls);
    return written.failed() ? written : noted;
}

} // namespace tessivar
