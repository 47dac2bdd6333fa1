#pragma once

#include "model/settings/SettingsMerge.h"
#include "model/settings/UserFolders.h"
#include "platform/FileSystemCalls.h"

#include <juce_data_structures/juce_data_structures.h>

#include <atomic>
#include <mutex>
#include <optional>

namespace tessivar
{

/** The bytes of a settings file, as far as one more than maxSettingsFileSize; nothing when there is none.
    Fails, with file and reason, when it can't be read. Writes nothing.
*/
[[nodiscard]] juce::Result readSettingsFile (const juce::File& file,
                                             std::optional<juce::MemoryBlock>& content);

/** The persisted settings: strings by key, upper and lower case told apart, in the XML form of a
    juce::PropertiesFile.

    Saved a while after a change and when destroyed. Several running copies of the program share the file:
    before it writes, each reads what the file holds by now, puts in only the keys that it has itself changed
    or removed, and takes over all others. A file appears whole or not at all. One that can't be read as
    settings counts as empty; it is put aside, into UserFolders::damagedSettings(), before anything is written
    over it.

    Values may be read and set on any thread, as those of every juce::PropertySet; listeners hear of changes
    on the message thread, and without one nothing is saved until save() or destruction.
*/
class SettingsStore : public juce::PropertySet, public juce::ChangeBroadcaster, private juce::Timer
{
public:
    static constexpr int defaultSaveDelay = 3000; // ms after the last change

    explicit SettingsStore (const UserFolders& folders,
                            int saveDelayMilliseconds = defaultSaveDelay,
                            FileSystemCalls& calls = FileSystemCalls::system());

    ~SettingsStore() override { saveIfNeeded(); }

    [[nodiscard]] const juce::File& file() const { return settingsFile; }

    /** Writes what was changed, also when nothing was since the last time: so that what other copies of the
        program wrote is known afterwards. On failure the file is the one it was, the changes are kept for the
        next try, and the result names the file and the reason.
    */
    juce::Result save();

    /** As save(), when there is something to write. */
    juce::Result saveIfNeeded() { return changed ? save() : juce::Result::ok(); }

    [[nodiscard]] bool needsToBeSaved() const { return changed; }

    /** Whether the file, when it was last read, was there but no settings file. */
    [[nodiscard]] bool wasDamaged() const { return damaged; }

protected:
    void propertyChanged() override;

private:
    void timerCallback() override;
    void startSaveTimer (int milliseconds);

    /** Reads the file. Fails when it is there and can't be read at all; damaged content is put aside and
        gives nothing.
    */
    juce::Result readFile (std::optional<SettingsValues>& values);
    juce::Result putAside (const juce::MemoryBlock& content);
    juce::Result writeFile (const SettingsValues& values);
    void adopt (const SettingsValues& saved, const SettingsValues& merged);
    [[nodiscard]] SettingsValues currentValues();

    const UserFolders folders;
    const juce::File settingsFile;
    const int saveDelay;
    FileSystemCalls& calls;

    std::mutex saveLock; // guards base; held while the file is read and written
    SettingsValues base; // what the file held when this process last saw it

    std::atomic<bool> changed{ false };
    std::atomic<bool> damaged{ false };

    JUCE_DECLARE_NON_COPYABLE (SettingsStore)
};

} // namespace tessivar
