#include "model/settings/SettingsStore.h"

#include "platform/AtomicFile.h"
#include "platform/FileLock.h"
#include "platform/FileStatus.h"
#include "platform/Folders.h"

#include <algorithm>
#include <new>
#include <utility>

namespace tessivar
{

namespace
{
// A copy of the program that was stopped in the middle of a save must not stop this one for ever; the file is
// replaced in one step in any case.
constexpr int longestWaitForLock = 2000; // ms
constexpr int maxDamagedFiles = 10;
} // namespace

juce::Result readSettingsFile (const juce::File& file, std::optional<juce::MemoryBlock>& content)
{
    using Kind = SystemError::Kind;
    const auto failed = [&] (const SystemError& error)
    { return juce::Result::fail (file.getFullPathName() + ": " + error.text()); };
    FileStatus status;

    if (const auto error = readStatus (file, status); error.failed())
        return error.kind() == Kind::notFound || error.kind() == Kind::notAFolder ? juce::Result::ok()
                                                                                  : failed (error);

    // Opening a pipe would wait for its other end.
    if (! status.isFile())
        return failed (status.isFolder() ? Kind::isFolder : Kind::notSupported);

    juce::FileInputStream stream (file);
    juce::MemoryBlock bytes;

    if (stream.openedOk())
        stream.readIntoMemoryBlock (bytes, static_cast<juce::int64> (maxSettingsFileSize + 1));

    if (stream.failedToOpen() || stream.getStatus().failed())
        return juce::Result::fail (file.getFullPathName() + ": " + stream.getStatus().getErrorMessage());

    content = std::move (bytes);
    return juce::Result::ok();
}

SettingsStore::SettingsStore (const UserFolders& foldersToUse,
                              int saveDelayMilliseconds,
                              FileSystemCalls& callsToUse)
    : folders (foldersToUse), settingsFile (foldersToUse.settingsFile()), saveDelay (saveDelayMilliseconds),
      calls (callsToUse)
{
    std::optional<SettingsValues> values;

    // What can't be read is empty, as at the first start.
    if (readFile (values).wasOk() && values)
        base = std::move (*values);

    for (const auto& [key, value] : base)
        getAllProperties().set (key, value);
}

void SettingsStore::propertyChanged()
{
    changed = true;
    sendChangeMessage();
    startSaveTimer (saveDelay);
}

void SettingsStore::startSaveTimer (int milliseconds)
{
    // Nothing calls timers in a program without messages, and one that is started there keeps all from
    // running later.
    if (juce::MessageManager::getInstanceWithoutCreating() != nullptr)
        startTimer (milliseconds);
}

void SettingsStore::timerCallback()
{
    stopTimer();

    // A full disk may have room again later; what failed stays to be saved.
    if (saveIfNeeded().failed())
        startSaveTimer (10 * saveDelay);
}

juce::Result SettingsStore::save()
{
    const std::lock_guard saving (saveLock);

    // A state folder that can't be written to leaves the settings without a lock, but not without being
    // saved.
    const auto processLock = FileLock::waitFor (folders.settingsLock(), longestWaitForLock);

    changed = false;
    auto result = juce::Result::ok();

    try
    {
        const auto mine = currentValues();
        std::optional<SettingsValues> onDisk;
        SettingsValues merged;
        result = readFile (onDisk);

        if (result.wasOk())
        {
            merged = onDisk ? mergeSettings (base, mine, *onDisk) : mine;

            if (! onDisk || *onDisk != merged)
                result = writeFile (merged);
        }

        if (result.wasOk())
        {
            adopt (mine, merged);
            base = std::move (merged);
        }
    }
    catch (const std::bad_alloc&)
    {
        result = juce::Result::fail (settingsFile.getFullPathName() + ": memory ran out");
    }

    if (result.failed())
        changed = true;

    return result;
}

juce::Result SettingsStore::readFile (std::optional<SettingsValues>& values)
{
    std::optional<juce::MemoryBlock> content;

    if (const auto read = readSettingsFile (settingsFile, content); read.failed() || ! content)
        return read;

    SettingsValues parsed;
    damaged = parseSettings (content->getData(), content->getSize(), parsed).failed();

    if (damaged)
        return putAside (*content);

    values = std::move (parsed);
    return juce::Result::ok();
}

juce::Result SettingsStore::putAside (const juce::MemoryBlock& content)
{
    const auto folder = folders.damagedSettings();
    auto kept = folder.findChildFiles (juce::File::findFiles, false, "*.config");
    std::sort (kept.begin(), kept.end());

    // Whoever reads the file until it is replaced finds the same in it.
    for (const auto& file : kept)
        if (juce::MemoryBlock present; file.loadFileAsData (present) && present == content)
            return juce::Result::ok();

    if (const auto made = makeFolder (folder); made.failed())
        return juce::Result::fail (folder.getFullPathName() + ": " + made.getErrorMessage());

    while (kept.size() >= maxDamagedFiles)
        kept.removeAndReturn (0).deleteFile();

    const auto name = juce::Time::getCurrentTime().formatted ("%Y%m%d-%H%M%S");
    return replaceFile (folder.getNonexistentChildFile (name, ".config", false),
                        { static_cast<const char*> (content.getData()), content.getSize() },
                        calls);
}

juce::Result SettingsStore::writeFile (const SettingsValues& values)
{
    const auto folder = settingsFile.getParentDirectory();

    if (const auto made = makeFolder (folder); made.failed())
        return juce::Result::fail (settingsFile.getFullPathName() + ": " + made.getErrorMessage());

    const auto text = encodeSettings (values);

    if (text.getNumBytesAsUTF8() > maxSettingsFileSize || values.size() > maxSettingsKeys)
        return juce::Result::fail (settingsFile.getFullPathName() + ": "
                                   + SystemError (SystemError::Kind::tooLarge).text());

    return replaceFile (settingsFile, { text.toRawUTF8(), text.getNumBytesAsUTF8() }, calls);
}

void SettingsStore::adopt (const SettingsValues& saved, const SettingsValues& merged)
{
    auto anyChanged = false;
    const juce::ScopedLock scopedLock (getLock());
    auto& all = getAllProperties();

    const auto valueIn = [] (const SettingsValues& values, const juce::String& key)
    {
        const auto found = values.find (key);
        return found == values.end() ? std::nullopt : std::optional (found->second);
    };
    auto allKeys = merged;
    allKeys.insert (saved.begin(), saved.end());

    for (const auto& [key, anyValue] : allKeys)
    {
        const auto before = valueIn (saved, key), after = valueIn (merged, key);
        const auto present = all.containsKey (key) ? std::optional (all[key]) : std::nullopt;

        // What another thread changed while the file was written stays, and is written the next time.
        if (after == before || present != before)
            continue;

        if (after)
            all.set (key, *after);
        else
            all.remove (juce::StringRef (key));

        anyChanged = true;
    }

    if (anyChanged)
        sendChangeMessage();
}

SettingsValues SettingsStore::currentValues()
{
    const juce::ScopedLock scopedLock (getLock());
    const auto& all = getAllProperties();
    SettingsValues values;

    for (int i = 0; i < all.size(); ++i)
        values[all.getAllKeys()[i]] = all.getAllValues()[i];

    return values;
}

} // namespace tessivar
